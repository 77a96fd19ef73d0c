#include "core/ReadWriteMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace tw {
namespace {

TEST(ReadWriteMutex, AWriterExcludesReadersAndOtherWriters) {
    CReadWriteMutex gate;
    std::atomic<int> readers{0};
    std::atomic<int> writers{0};
    std::atomic<bool> violated{false};

    auto reader = [&] {
        for (int i = 0; i < 2000; ++i) {
            gate.LockRead();
            ++readers;
            if (writers.load() != 0)
                violated = true;
            --readers;
            gate.UnlockRead();
        }
    };
    auto writer = [&] {
        for (int i = 0; i < 500; ++i) {
            gate.LockWrite();
            if (++writers != 1 || readers.load() != 0)
                violated = true;
            --writers;
            gate.UnlockWrite();
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(reader);
    for (int i = 0; i < 2; ++i)
        threads.emplace_back(writer);
    for (auto& t : threads)
        t.join();
    EXPECT_FALSE(violated);
}

TEST(ReadWriteMutex, ReadersShareAndTheWriterEntersWhenTheLastLeaves) {
    CReadWriteMutex gate;
    gate.LockRead();
    gate.LockRead(); // a second reader does not wait for the first

    std::atomic<bool> written{false};
    std::thread writer([&] {
        gate.LockWrite();
        written = true;
        gate.UnlockWrite();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(written);
    gate.UnlockRead();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(written);
    gate.UnlockRead();
    writer.join();
    EXPECT_TRUE(written);
}

} // namespace
} // namespace tw
