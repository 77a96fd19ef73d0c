#include "dsp/PlugInSettings.h"

#include "dsp/ByteVectorIO.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "storage/Archive.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace tw;

namespace {

std::unique_ptr<CTransformPlugin> Gain(float value) {
    doubles::RegisterTransforms();
    std::unique_ptr<CTransformPlugin> plugin(CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1));
    plugin->SetValue(0, value);
    return plugin;
}

float GainOf(CTransformPlugin& plugin) {
    float gain = 0;
    std::memcpy(&gain, plugin.GetState().data(), 4);
    return gain;
}

} // namespace

TEST(PlugInSettings, TakesAndRestoresTheTransformsState_OnlyWhenTheSizeFits) {
    auto plugin = Gain(0.3f);
    const CPlugInSettings original = CPlugInSettings::FromTransform(plugin.get(), "(original)");
    EXPECT_EQ(original.GetData().size(), 4u);
    plugin->SetValue(0, 1.7f);
    EXPECT_TRUE(original.Restore());
    EXPECT_EQ(GainOf(*plugin), 0.3f);

    // A record of another length (a preset from another version of the plug-in) changes nothing.
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    uint8_t name[CPlugInSettings::kNameBytes] = {'O', 0, 'l', 0, 'd', 0};
    w.WriteBytes(name, sizeof(name));
    w.WriteU32(6);
    w.WriteBytes("123456", 6);
    CArchive r(io, CArchive::load);
    CPlugInSettings other(plugin.get());
    ASSERT_TRUE(other.Read(r));
    EXPECT_EQ(other.GetName(), "Old");
    EXPECT_FALSE(other.Restore());
    EXPECT_EQ(GainOf(*plugin), 0.3f);
}

TEST(PlugInSettings, WriteAndRead_TheRecordLayoutWithA260ByteName) {
    auto plugin = Gain(0.9f);
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    CPlugInSettings::FromTransform(plugin.get(), "Wärme").Write(w);
    CPlugInSettings::FromTransform(plugin.get(), std::string(200, 'x')).Write(w);
    ASSERT_EQ(io.GetLength(), 2 * (260 + 4 + 4));
    // UTF-16LE name, zero-padded, then the little-endian size.
    EXPECT_EQ(io.Bytes()[2], 0xE4);
    EXPECT_EQ(io.Bytes()[3], 0x00);
    EXPECT_EQ(io.Bytes()[10], 0x00);
    EXPECT_EQ(io.Bytes()[260], 4);

    CArchive r(io, CArchive::load);
    CPlugInSettings first(plugin.get()), second(plugin.get());
    ASSERT_TRUE(first.Read(r));
    ASSERT_TRUE(second.Read(r));
    EXPECT_EQ(first.GetName(), "Wärme");
    EXPECT_EQ(second.GetName(), std::string(129, 'x')); // cut to leave room for the terminator
    EXPECT_EQ(first.GetData(), CPlugInSettings::FromTransform(plugin.get(), "").GetData());
}

TEST(PlugInSettings, Read_RefusesASizeNotBelowTheFilesLengthAndACutRecord) {
    auto plugin = Gain(1.0f);
    {
        CByteVectorIO io;
        CArchive w(io, CArchive::store);
        uint8_t name[CPlugInSettings::kNameBytes] = {};
        w.WriteBytes(name, sizeof(name));
        w.WriteU32(264 + 4); // the whole file's length
        w.WriteBytes("abcd", 4);
        CArchive r(io, CArchive::load);
        CPlugInSettings settings(plugin.get(), "kept");
        EXPECT_FALSE(settings.Read(r));
        EXPECT_EQ(settings.GetName(), "kept");
        EXPECT_EQ(r.GetPosition(), 0);
    }
    {
        CByteVectorIO io(std::vector<uint8_t>(100, 0x41));
        CArchive r(io, CArchive::load);
        CPlugInSettings settings(plugin.get());
        EXPECT_FALSE(settings.Read(r));
    }
    {
        CByteVectorIO io;
        CArchive w(io, CArchive::store);
        uint8_t name[CPlugInSettings::kNameBytes] = {};
        w.WriteBytes(name, sizeof(name));
        w.WriteU32(200); // below the length, but more than follows
        w.WriteBytes("abcd", 4);
        CArchive r(io, CArchive::load);
        CPlugInSettings settings(plugin.get());
        EXPECT_FALSE(settings.Read(r));
        EXPECT_TRUE(settings.GetData().empty());
    }
}
