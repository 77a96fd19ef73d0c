// The settings fuzzer's path run over a fixed set of random files, so the ordinary suite covers it:
// any bytes as the settings file must read without harm, and a write must keep every other byte.
#include "platform/Settings.h"

#include "../../fuzz/SettingsFuzzBody.h"
#include "TestEnvironment.h"

#include <gtest/gtest.h>
#include <random>

using namespace tw;

TEST(SettingsFuzzRegression, ThousandRandomFiles_ReadAndWriteWithoutHarm) {
    const std::string path = test::FreshFolder("settings-fuzz") + "VondTidewright.ini";
    std::mt19937 random(20261122);
    // Bytes drawn mostly from the characters that matter to the parser.
    const std::string alphabet = "[]=;#\r\n \t\"\\abcAB019-+\xFF\x00\xC3\xA9";
    for (int round = 0; round < 1000; ++round) {
        const size_t length = random() % 400;
        std::string bytes;
        for (size_t i = 0; i < length; ++i)
            bytes.push_back(random() % 4 == 0 ? static_cast<char>(random() & 0xFF)
                                              : alphabet[random() % alphabet.size()]);
        const fuzz::SettingsFuzzOutcome outcome = fuzz::RunSettingsFuzzCase(path, bytes);
        ASSERT_TRUE(outcome.consistent) << "round " << round << ": " << outcome.problem;
    }
}
