#include "dsp/PlugInSettings.h"

#include "dsp/ByteVectorIO.h"
#include "dsp/DspTestSupport.h"
#include "storage/Archive.h"

#include <gtest/gtest.h>

using namespace tw;
using test::GainOf;

namespace {

// One record as a file holds it: the 260-byte UTF-16 name, the size, then `bytes`.
std::vector<uint8_t> Record(const std::string& name, uint32_t size, const std::string& bytes) {
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    uint8_t field[CPlugInSettings::kNameBytes] = {};
    for (size_t i = 0; i < name.size(); ++i)
        field[2 * i] = static_cast<uint8_t>(name[i]);
    w.WriteBytes(field, sizeof(field));
    w.WriteU32(size);
    w.WriteBytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
    return io.Bytes();
}

} // namespace

TEST(PlugInSettings, TakesAndRestoresTheTransformsState_OnlyWhenTheSizeFits) {
    auto plugin = test::Gain(0.3f);
    const CPlugInSettings original = CPlugInSettings::FromTransform(plugin.get(), "(original)");
    EXPECT_EQ(original.GetData().size(), 4u);
    plugin->SetValue(0, 1.7f);
    EXPECT_TRUE(original.Restore());
    EXPECT_EQ(GainOf(*plugin), 0.3f);

    // A record of another length (a preset from another version of the plug-in) changes nothing.
    CByteVectorIO io(Record("Old", 6, "123456"));
    CArchive r(io, CArchive::load);
    CPlugInSettings other(plugin.get());
    ASSERT_TRUE(other.Read(r));
    EXPECT_EQ(other.GetName(), "Old");
    EXPECT_FALSE(other.Restore());
    EXPECT_EQ(GainOf(*plugin), 0.3f);
}

TEST(PlugInSettings, WriteAndRead_TheRecordLayoutWithA260ByteName) {
    auto plugin = test::Gain(0.9f);
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    CPlugInSettings::FromTransform(plugin.get(), "Wärme").Write(w);
    CPlugInSettings::FromTransform(plugin.get(), std::string(200, 'x')).Write(w);
    ASSERT_EQ(io.GetLength(), 2 * (260 + 4 + 4));
    // UTF-16LE name, zero-padded, then the little-endian size.
    const std::vector<uint8_t>& b = io.Bytes();
    EXPECT_EQ((std::vector<uint8_t>{b[2], b[3], b[10], b[260]}), (std::vector<uint8_t>{0xE4, 0, 0, 4}));

    CArchive r(io, CArchive::load);
    CPlugInSettings first(plugin.get()), second(plugin.get());
    ASSERT_TRUE(first.Read(r));
    ASSERT_TRUE(second.Read(r));
    EXPECT_EQ(first.GetName(), "Wärme");
    EXPECT_EQ(second.GetName(), std::string(129, 'x')); // cut to leave room for the terminator
    EXPECT_EQ(first.GetData(), CPlugInSettings::FromTransform(plugin.get(), "").GetData());
}

TEST(PlugInSettings, Read_RefusesASizeNotBelowTheFilesLengthAndACutRecord) {
    auto plugin = test::Gain(1.0f);
    CByteVectorIO whole(Record("", 264 + 4, "abcd")); // the whole file's length
    CArchive r(whole, CArchive::load);
    CPlugInSettings settings(plugin.get(), "kept");
    EXPECT_FALSE(settings.Read(r));
    EXPECT_EQ(settings.GetName(), "kept");
    EXPECT_EQ(r.GetPosition(), 0);

    CByteVectorIO shortFile(std::vector<uint8_t>(100, 0x41));
    CArchive s(shortFile, CArchive::load);
    EXPECT_FALSE(CPlugInSettings(plugin.get()).Read(s));

    CByteVectorIO cut(Record("", 200, "abcd")); // below the length, but more than follows
    CArchive c(cut, CArchive::load);
    CPlugInSettings partial(plugin.get());
    EXPECT_FALSE(partial.Read(c));
    EXPECT_TRUE(partial.GetData().empty());
}
