// The preset and chain fuzzer's case over generated inputs: a valid preset file and a valid stored
// chain, cut short at every length, and changed at random bytes.
#include "../../fuzz/PresetFuzzBody.h"

#include "dsp/ByteVectorIO.h"
#include "dsp/DspTestSupport.h"

#include <gtest/gtest.h>

#include <random>

using namespace tw;

namespace {

std::string PresetFile() {
    auto gain = test::MakePlugin(doubles::kGainClass);
    CByteVectorIO io;
    CArchive ar(io, CArchive::store);
    CPlugInSettings::FromTransform(gain.get(), "(last)").Write(ar);
    ar.WriteU32(2);
    CPlugInSettings::FromTransform(gain.get(), "Warm").Write(ar);
    CPlugInSettings::FromTransform(gain.get(), "Bright").Write(ar);
    return std::string(io.Bytes().begin(), io.Bytes().end());
}

std::string StoredChain() {
    auto gain = test::MakePlugin(doubles::kGainClass);
    auto half = test::MakePlugin(doubles::kHalvingClass);
    CTransformChain chain;
    chain.Add(gain.get());
    chain.Add(half.get());
    CByteVectorIO io;
    CArchive ar(io, CArchive::store);
    SerializeChain(chain, ar);
    return std::string(io.Bytes().begin(), io.Bytes().end());
}

void Expect(const std::string& bytes) {
    const fuzz::PresetFuzzOutcome outcome = fuzz::RunPresetFuzzCase(bytes);
    ASSERT_TRUE(outcome.consistent) << outcome.problem << " (input of " << bytes.size() << " bytes)";
}

} // namespace

// Valid inputs cut short at every length and changed at random bytes, and a name filling its whole
// field, which reads as it will be written.
TEST(PresetFuzzRegression, CutChangedAndFullNamedInputs_FailOrReadConsistently) {
    std::mt19937 random(20261122u);
    for (const std::string& whole : {PresetFile(), StoredChain()}) {
        for (size_t length = 0; length <= whole.size(); ++length)
            Expect(whole.substr(0, length));
        for (int round = 0; round < 400; ++round) {
            std::string bytes = whole;
            const int changes = 1 + static_cast<int>(random() % 6);
            for (int c = 0; c < changes; ++c)
                bytes[random() % bytes.size()] = static_cast<char>(random() & 0xFF);
            Expect(bytes);
        }
    }
    std::string named = PresetFile();
    std::fill_n(named.begin(), CPlugInSettings::kNameBytes, 'n');
    Expect(named);
}
