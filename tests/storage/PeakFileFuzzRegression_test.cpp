// The peak-file fuzz case run over generated inputs in the default suite: random bytes, a valid
// header cut short at every length, and a valid header with random bytes changed.
#include "../../fuzz/PeakFileFuzzBody.h"
#include "PeakTestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <random>

namespace tw {
namespace {

class PeakFileFuzzRegression : public ::testing::Test {
protected:
    void SetUp() override {
        source = home.root + "/source.wav";
        std::ofstream(source) << "bytes standing for a recording";
        CPeakFileManager manager;
        std::unique_ptr<IBasicIO> made(manager.CreatePeakFile(source));
        ASSERT_NE(made, nullptr);
        const float rows[8] = {-0.5f, 0.5f, -0.25f, 0.25f, -1.0f, 1.0f, 0.0f, 0.0f};
        made->Seek(0);
        ASSERT_TRUE(made->Write(rows, sizeof rows));
        made.reset();
        const std::string path = manager.SlotName(CPeakFileManager::Hash(source));
        valid = fuzz::ReadAll(path);
        CFile::Remove(path);
        ASSERT_GT(valid.size(), 64u);
    }

    void Expect(const std::string& bytes) {
        const fuzz::PeakFuzzOutcome outcome = fuzz::RunPeakFileFuzzCase(source, bytes);
        ASSERT_TRUE(outcome.consistent) << outcome.problem << " (input of " << bytes.size() << " bytes)";
    }

    test::ScratchHome home;
    std::string source;
    std::string valid;
};

TEST_F(PeakFileFuzzRegression, TheUntouchedHeaderIsValid_AndCutShortAtAnyLengthIsSkippedWithoutHarm) {
    Expect(valid);
    CPeakFileManager manager;
    std::ofstream(manager.SlotName(CPeakFileManager::Hash(source)), std::ios::binary) << valid;
    EXPECT_EQ(manager.CheckPeakFile(source, CPeakFileManager::Hash(source), false), 2);
    for (size_t length = 0; length < valid.size(); ++length)
        Expect(valid.substr(0, length));
}

TEST_F(PeakFileFuzzRegression, RandomBytesAndChangedHeaders_AreClassifiedWithoutHarm) {
    std::mt19937 random(20261122);
    for (int round = 0; round < 300; ++round) {
        std::string bytes(random() % 300, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        Expect(bytes);

        std::string changed = valid;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits; ++e)
            changed[random() % changed.size()] = static_cast<char>(random());
        Expect(changed);
    }
}

} // namespace
} // namespace tw
