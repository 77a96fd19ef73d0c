#include "storage/LabelArchive.h"

#include "core/LabelList.h"
#include "storage/Archive.h"
#include "storage/MemoryIO.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

namespace tw {
namespace {

// Little-endian bytes of the stored form, built by hand so the test does not share the writer.
struct Bytes {
    std::vector<uint8_t> data;
    Bytes& U32(uint32_t v) {
        for (int i = 0; i < 4; ++i)
            data.push_back(static_cast<uint8_t>(v >> (8 * i)));
        return *this;
    }
    Bytes& I64(int64_t value) {
        const auto v = static_cast<uint64_t>(value);
        for (int i = 0; i < 8; ++i)
            data.push_back(static_cast<uint8_t>(v >> (8 * i)));
        return *this;
    }
    // UTF-16 code units including the terminator, behind their byte count.
    Bytes& Str(std::initializer_list<char16_t> units) {
        U32(static_cast<uint32_t>((units.size() + 1) * 2));
        for (char16_t u : units) {
            data.push_back(static_cast<uint8_t>(u));
            data.push_back(static_cast<uint8_t>(u >> 8));
        }
        data.push_back(0);
        data.push_back(0);
        return *this;
    }
};

std::vector<uint8_t> Store(CLabelList& labels) {
    MemoryBlock block = std::make_shared<std::vector<uint8_t>>(4096);
    CMemoryIO io;
    EXPECT_TRUE(io.Open(block, nullptr));
    CArchive archive(io, CArchive::store);
    SerializeLabels(archive, labels);
    return std::vector<uint8_t>(block->begin(), block->begin() + archive.GetPosition());
}

void Load(const std::vector<uint8_t>& bytes, CLabelList& labels) {
    MemoryBlock block = std::make_shared<std::vector<uint8_t>>(bytes);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr) || bytes.empty());
    CArchive archive(io, CArchive::load);
    SerializeLabels(archive, labels);
}

using Marker = std::tuple<int64_t, int32_t, std::string, std::string>;
std::vector<Marker> Markers(const CLabelList& labels) {
    std::vector<Marker> out;
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* l = labels.GetAt(i);
        out.emplace_back(l->m_position, l->m_type, l->m_firstText, l->m_secondText);
    }
    return out;
}

TEST(LabelArchive, Store_WritesCountThenTypePositionSecondAndFirstTextPerMarker) {
    CLabelList labels;
    labels.Add(0x1'0000'0002, 7, "A", "B\xc3\xa9");
    labels.Add(-5, 0, "", "");

    const std::vector<uint8_t> expected = Bytes()
                                              .U32(2)
                                              .U32(0)
                                              .I64(-5)
                                              .Str({})
                                              .Str({})
                                              .U32(7)
                                              .I64(0x1'0000'0002)
                                              .Str({u'B', u'\u00e9'})
                                              .Str({u'A'})
                                              .data;
    EXPECT_EQ(Store(labels), expected);
}

TEST(LabelArchive, Load_ReplacesEveryMarkerAndRoundTripsByteForByte) {
    CLabelList original;
    original.Add(44100, 0, "Artist", "Title");
    original.Add(88200, 3, "", "second only");
    original.Add(1, -1, "first only", "");
    const std::vector<uint8_t> stored = Store(original);

    CLabelList loaded;
    loaded.Add(500, 0, "stale", "");
    Load(stored, loaded);
    EXPECT_EQ(Markers(loaded),
              (std::vector<Marker>{
                  {1, -1, "first only", ""}, {44100, 0, "Artist", "Title"}, {88200, 3, "", "second only"}}));
    EXPECT_EQ(Store(loaded), stored);
}

TEST(LabelArchive, Load_TwoMarkersAtOnePosition_KeepsTheLaterOne) {
    const std::vector<uint8_t> bytes =
        Bytes().U32(2).U32(0).I64(10).Str({}).Str({u'x'}).U32(4).I64(10).Str({}).Str({u'y'}).data;
    CLabelList labels;
    Load(bytes, labels);
    EXPECT_EQ(Markers(labels), (std::vector<Marker>{{10, 4, "y", ""}}));
}

TEST(LabelArchive, Load_TruncatedOrHostileCount_ThrowsEndOfFileAndKeepsWhatWasRead) {
    CLabelList original;
    original.Add(100, 0, "one", "");
    original.Add(200, 0, "two", "");
    std::vector<uint8_t> stored = Store(original);

    // Cut inside the second marker's first text.
    std::vector<uint8_t> truncated(stored.begin(), stored.end() - 3);
    CLabelList labels;
    try {
        Load(truncated, labels);
        FAIL() << "a truncated archive must throw";
    } catch (const CArchiveException& e) {
        EXPECT_EQ(e.m_cause, CArchiveException::endOfFile);
    }
    EXPECT_EQ(Markers(labels), (std::vector<Marker>{{100, 0, "one", ""}}));

    // A count of four billion with no markers behind it ends at the data, not in memory.
    CLabelList hostile;
    EXPECT_THROW(Load(Bytes().U32(0xFFFFFFFF).data, hostile), CArchiveException);
    EXPECT_EQ(hostile.GetCount(), 0);
}

} // namespace
} // namespace tw
