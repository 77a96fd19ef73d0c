// The preset and chain fuzzer's case over generated inputs: a valid preset file and a valid stored
// chain, cut short at every length, and changed at random bytes.
#include "../../fuzz/PresetFuzzBody.h"

#include "dsp/ByteVectorIO.h"
#include "dsp/TransformDoubles.h"

#include <gtest/gtest.h>

#include <random>

using namespace tw;

namespace {

std::string PresetFile() {
    doubles::RegisterTransforms();
    std::unique_ptr<CTransformPlugin> gain(CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1));
    CByteVectorIO io;
    CArchive ar(io, CArchive::store);
    CPlugInSettings::FromTransform(gain.get(), "(last)").Write(ar);
    ar.WriteU32(2);
    CPlugInSettings::FromTransform(gain.get(), "Warm").Write(ar);
    CPlugInSettings::FromTransform(gain.get(), "Bright").Write(ar);
    return std::string(io.Bytes().begin(), io.Bytes().end());
}

std::string StoredChain() {
    doubles::RegisterTransforms();
    std::unique_ptr<CTransformPlugin> gain(CTransformPlugin::Create(doubles::kGainClass, GUID{}, -1));
    std::unique_ptr<CTransformPlugin> half(CTransformPlugin::Create(doubles::kHalvingClass, GUID{}, -1));
    CTransformChain chain;
    chain.Add(gain.get());
    chain.Add(half.get());
    CByteVectorIO io;
    CArchive ar(io, CArchive::store);
    SerializeChain(chain, ar);
    return std::string(io.Bytes().begin(), io.Bytes().end());
}

} // namespace

TEST(PresetFuzzRegression, ValidInputsCutShortAtAnyLength_FailOrReadConsistently) {
    for (const std::string& whole : {PresetFile(), StoredChain()}) {
        for (size_t length = 0; length <= whole.size(); ++length) {
            const fuzz::PresetFuzzOutcome outcome = fuzz::RunPresetFuzzCase(whole.substr(0, length));
            ASSERT_TRUE(outcome.consistent) << outcome.problem << " (length " << length << ")";
        }
    }
}

TEST(PresetFuzzRegression, ANameFillingItsWholeFieldReadsAsItWillBeWritten) {
    std::string bytes = PresetFile();
    for (size_t i = 0; i < CPlugInSettings::kNameBytes; ++i)
        bytes[i] = 'n';
    const fuzz::PresetFuzzOutcome outcome = fuzz::RunPresetFuzzCase(bytes);
    EXPECT_TRUE(outcome.consistent) << outcome.problem;
}

TEST(PresetFuzzRegression, RandomlyChangedBytes_FailOrReadConsistently) {
    std::mt19937 random(20261122u);
    for (const std::string& whole : {PresetFile(), StoredChain()}) {
        for (int round = 0; round < 400; ++round) {
            std::string bytes = whole;
            const int changes = 1 + static_cast<int>(random() % 6);
            for (int c = 0; c < changes; ++c)
                bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
            const fuzz::PresetFuzzOutcome outcome = fuzz::RunPresetFuzzCase(bytes);
            ASSERT_TRUE(outcome.consistent) << outcome.problem << " (round " << round << ")";
        }
    }
}
