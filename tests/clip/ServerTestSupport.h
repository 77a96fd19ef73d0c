// Shared pieces of the clip server and writer tests: the server's classes made creatable, a
// private home per test, a headless presentation to see boxes and answer dialogs, and a reader of
// the cue chunks of a written WAV file that knows nothing of the system.
#pragma once

#include "clip/ServerClasses.h"
#include "platform/Presentation.h"
#include "storage/PeakTestSupport.h"

#include <tidework/clipserver.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace tw::test {

template <class I> I* Create(const CLSID& clsid, const IID& iid) {
    void* out = nullptr;
    EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, &out), S_OK);
    return static_cast<I*>(out);
}

class ServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        RegisterServerClasses();
        SetPresentation(m_presentation);
        IAudioClipServer* server = Create<IAudioClipServer>(CLSID_CAudioClipServer, IID_IAudioClipServer);
        ASSERT_NE(server, nullptr);
        ASSERT_EQ(server->InitServer(), S_OK);
        server->Release();
        ASSERT_TRUE(m_presentation->Boxes().empty()) << "libformathost.so not found beside the tests";
    }
    void TearDown() override { SetPresentation(std::make_shared<CHeadlessPresentation>()); }

    std::string PathOf(const std::string& name) const { return m_home.root + "/" + name; }

    ScratchHome m_home;
    std::shared_ptr<CHeadlessPresentation> m_presentation = std::make_shared<CHeadlessPresentation>();
};

struct CuePoint {
    uint32_t position = 0;
    std::string title;
    std::string artist;
};

inline uint32_t Le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// The cue points of a RIFF WAVE file in file order, with their "labl" and "note" texts.
inline std::vector<CuePoint> ReadCuePoints(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<CuePoint> cues;
    std::vector<uint32_t> ids;
    size_t at = 12;
    while (at + 8 <= bytes.size()) {
        const uint32_t size = Le32(&bytes[at + 4]);
        if (at + 8 + size > bytes.size())
            break;
        const uint8_t* body = &bytes[at + 8];
        if (std::memcmp(&bytes[at], "cue ", 4) == 0) {
            for (uint32_t i = 0; i < Le32(body); ++i) {
                ids.push_back(Le32(body + 4 + i * 24));
                cues.push_back({Le32(body + 4 + i * 24 + 20), {}, {}});
            }
        } else if (std::memcmp(&bytes[at], "LIST", 4) == 0 && std::memcmp(body, "adtl", 4) == 0) {
            for (size_t sub = 4; sub + 12 <= size;) {
                const uint32_t length = Le32(body + sub + 4);
                const uint32_t id = Le32(body + sub + 8);
                const std::string text(reinterpret_cast<const char*>(body + sub + 12));
                for (size_t i = 0; i < ids.size(); ++i)
                    if (ids[i] == id)
                        (std::memcmp(body + sub, "labl", 4) == 0 ? cues[i].title : cues[i].artist) = text;
                sub += 8 + length + (length & 1);
            }
        }
        at += 8 + size + (size & 1);
    }
    return cues;
}

} // namespace tw::test
