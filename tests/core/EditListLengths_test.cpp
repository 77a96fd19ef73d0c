// Edits find their place from the lengths the previous edit measured. The same random edits run
// twice: once as they come, and once with the measured lengths dropped before every edit (a
// caller reaching into the list does that). Both runs must give the same events at every step.
// The runs take turns, not steps, because a change of any event anywhere drops every document's
// lengths.
#include "core/EditedMedia.h"
#include "core/MediaEvent.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace tw {
namespace {

using test::DecimateTransform;
using test::GainTransform;
using test::VectorStream;

std::string Describe(const CEditedMedia& media) {
    std::string out;
    for (const CMediaEvent* event : media.GetEvents()) {
        const CSection source = event->GetSourceRange();
        out += std::to_string(source.m_start) + ".." + std::to_string(source.m_end) + " f" +
               std::to_string(event->GetCrossFade()) + " c" + std::to_string(event->GetChain().GetCount()) +
               (event->m_spliceFlag ? " s" : "") + (event->m_pastedFlag ? " p" : "") + "\n";
    }
    return out;
}

// Runs one edit on a document; Compact may refuse a list that ends in an empty event, and then
// must refuse it in both documents.
template <typename Edit> std::string Attempt(Edit&& edit) {
    try {
        edit();
        return "done";
    } catch (const std::invalid_argument&) {
        return "refused";
    }
}

std::vector<std::string> RunEdits(bool dropLengths) {
    std::vector<std::string> steps;
    VectorStream* stream = VectorStream::Ramp(200000);
    CEditedMedia media;
    media.AddMedia(stream, 0);
    for (int64_t at = 190000; at > 0; at -= 9500)
        media.DeleteSection(CSection(at, at + 700), false);

    CTransformBase* gain = new GainTransform(2.0f);
    CTransformBase* half = new DecimateTransform(2);
    std::mt19937 rng(11);
    for (int step = 0; step < 600; ++step) {
        if (dropLengths)
            media.GetEvents();
        const int64_t length = media.GetLength();
        if (length < 4000)
            break;
        const int64_t from = std::uniform_int_distribution<int64_t>(0, length - 3000)(rng);
        const int64_t to = from + std::uniform_int_distribution<int64_t>(1, 2500)(rng);
        const int op = std::uniform_int_distribution<int>(0, 7)(rng);
        const int32_t events = media.GetEventCount();
        const int32_t index = std::uniform_int_distribution<int32_t>(0, std::max(0, events - 2))(rng);
        std::string outcome = "done";
        try {
            switch (op) {
            case 0: { // cut and paste elsewhere
                CEditedMedia clipboard;
                media.CopyTo(clipboard, CSection(from, to));
                media.DeleteSection(CSection(from, to), true);
                media.InsertMedia(clipboard, from / 2, true);
                break;
            }
            case 1:
                media.DeleteSection(CSection(from, to), step % 2 == 0);
                break;
            case 2:
                media.ApplyTransform(CSection(from, to), step % 3 == 0 ? half : gain);
                break;
            case 3:
                media.RemoveTransform(step % 2 == 0 ? half : gain);
                break;
            case 4:
                media.Compact();
                break;
            case 5: // a fade set from outside the edits, as a drag of its grip does
                media.GetEventAt(index)->SetCrossFade(to - from);
                break;
            case 6:
                outcome = std::to_string(media.MoveSplice(media.GetEventAt(index), to - from - 1250));
                break;
            default: {
                CEditedMedia clipboard;
                media.CopyTo(clipboard, CSection(from, to));
                media.InsertMedia(clipboard, to, false);
                break;
            }
            }
        } catch (const std::invalid_argument&) {
            outcome = "refused"; // Compact refuses a list that ends in an empty event
        }
        steps.push_back(std::to_string(op) + " " + outcome + "\n" + Describe(media));
    }
    return steps;
}

TEST(EditListLengths, EditsWithKeptLengthsMatchEditsThatMeasureAfresh) {
    const std::vector<std::string> kept = RunEdits(false);
    const std::vector<std::string> fresh = RunEdits(true);
    ASSERT_EQ(kept.size(), fresh.size());
    EXPECT_GT(kept.size(), 500u);
    for (size_t i = 0; i < kept.size(); ++i)
        ASSERT_EQ(kept[i], fresh[i]) << "step " << i;
}

} // namespace
} // namespace tw
