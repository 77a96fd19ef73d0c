#include "core/MarkerArithmetic.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(MarkerArithmetic, FramesToMarkerTime_SplitsIntoHoursMinutesSecondsAndTruncatedMilliseconds) {
    // 1:02:03.456 at 44.1 kHz is 3723 s plus 20109.6 frames; the partial frame is dropped.
    const MarkerTime time = FramesToMarkerTime(3723 * 44100 + 20109, 44100);
    EXPECT_EQ(time.hours, 1);
    EXPECT_EQ(time.minutes, 2);
    EXPECT_EQ(time.seconds, 3);
    EXPECT_EQ(time.milliseconds, 455); // 20109 frames are 455.98 ms
    EXPECT_EQ(MarkerTimeToFrames({1, 2, 3, 456}, 44100), int64_t{3723} * 44100 + 20109);

    // Past twelve hours the hours run on; the dialog's range is its own business.
    EXPECT_EQ(FramesToMarkerTime(int64_t{13} * 3600 * 48000, 48000).hours, 13);
    const MarkerTime zero = FramesToMarkerTime(12345, 0);
    EXPECT_EQ(zero.hours + zero.minutes + zero.seconds + zero.milliseconds, 0);
}

TEST(MarkerArithmetic, MarkerTimeToFrames_RoundTripsWholeMillisecondsAt48kHz) {
    for (int64_t ms : {int64_t{0}, int64_t{1}, int64_t{999}, int64_t{59'999}, int64_t{43'199'999}}) {
        const int64_t frames = ms * 48;
        const MarkerTime time = FramesToMarkerTime(frames, 48000);
        EXPECT_EQ(MarkerTimeToFrames(time, 48000), frames) << ms;
    }
}

TEST(MarkerArithmetic, MarkerTimesToSelection_NormalisesAndSlidesIntoTheDocument) {
    // 8 s .. 12 s of a 10 s document at 1 kHz keeps its 4 s and ends at the end.
    EXPECT_EQ(MarkerTimesToSelection({0, 0, 8, 0}, {0, 0, 12, 0}, 1000, 10000), CSection(6000, 10000));
    EXPECT_EQ(MarkerTimesToSelection({0, 0, 5, 250}, {0, 0, 1, 0}, 1000, 10000), CSection(1000, 5250));
    // Longer than the document: the whole document.
    EXPECT_EQ(MarkerTimesToSelection({0, 0, 0, 0}, {1, 0, 0, 0}, 1000, 10000), CSection(0, 10000));
}

TEST(MarkerArithmetic, ValidateMarkerFields_TooLongOrEmptyFieldBlocksAndTakesTheFocus) {
    std::array<int32_t, markerFieldCount> values{0, 1, 2, 3, 0, 4, 5, 6};
    MarkerFieldTexts texts{"0", "1", "2", "1000", "0", "44", "5", "6"};
    EXPECT_EQ(ValidateMarkerFields(values, texts), startMilliseconds);
    // Nothing was taken over, not even the good minutes of the end; every field shows its value.
    EXPECT_EQ(values[endMinutes], 4);
    EXPECT_EQ(texts[startMilliseconds], "3");
    EXPECT_EQ(texts[endMinutes], "4");

    texts = {"0", "1", "2", "3", "0", "", "5", "6"};
    EXPECT_EQ(ValidateMarkerFields(values, texts), endMinutes);
    EXPECT_EQ(values[endMinutes], 0);
    EXPECT_EQ(texts[endMinutes], "0");

    texts = {"0", "1", "100", "3", "0", "1", "5", "6"};
    EXPECT_EQ(ValidateMarkerFields(values, texts), startSeconds);
}

TEST(MarkerArithmetic, ValidateMarkerFields_HoldsEachValueToItsMaximum) {
    std::array<int32_t, markerFieldCount> values{};
    MarkerFieldTexts texts{"12", "75", "60", "999", "5", "59", "7", "-3"};
    EXPECT_EQ(ValidateMarkerFields(values, texts), markerFieldCount);
    const std::array<int32_t, markerFieldCount> expected{11, 59, 59, 999, 5, 59, 7, 0};
    EXPECT_EQ(values, expected);
}

} // namespace
} // namespace tw
