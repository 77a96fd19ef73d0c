// Shared pieces of the folder, temporary-file, peak and PCM stream tests: a private set of XDG
// folders and settings file per test, WAV files written byte by byte, a CFileIO on a WAV's samples,
// and an IBasicIO wrapper that counts what passes through it.
#pragma once

#include "core/MediaStream.h"
#include "platform/File.h"
#include "platform/Settings.h"
#include "storage/BasicIO.h"
#include "storage/FileIO.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace tw::test {

// Points every XDG folder and the settings file into a fresh temporary folder for one test.
class ScratchHome {
public:
    ScratchHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tw-peaks-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        root = ::mkdtemp(buffer.data());
        for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "XDG_CONFIG_HOME"}) {
            std::string saved = std::getenv(name) ? std::getenv(name) : "";
            m_saved.emplace_back(name, saved);
            const std::string folder = root + "/" + name;
            std::filesystem::create_directories(folder);
            ::setenv(name, folder.c_str(), 1);
        }
        m_savedSettings = GetSettingsFilePath();
        SetSettingsFilePath(root + "/settings.ini");
    }
    ~ScratchHome() {
        SetSettingsFilePath(m_savedSettings);
        for (const auto& [name, value] : m_saved) {
            if (value.empty())
                ::unsetenv(name.c_str());
            else
                ::setenv(name.c_str(), value.c_str(), 1);
        }
        std::error_code ec;
        std::filesystem::remove_all(root, ec);
    }
    std::string root;

private:
    std::vector<std::pair<std::string, std::string>> m_saved;
    std::string m_savedSettings;
};

inline WAVEFORMATEX PcmFormat(int channels, int rate, int bits) {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_PCM;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.wBitsPerSample = static_cast<uint16_t>(bits);
    f.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.nAvgBytesPerSec = f.nBlockAlign * static_cast<uint32_t>(rate);
    return f;
}

constexpr int64_t kWavHeaderBytes = 44;

// Writes a canonical 44-byte-header PCM WAV whose sample (frame, channel) is `sample(frame,
// channel)`, an integer in the depth's own range (unsigned for 8 bits).
inline void WriteWav(const std::string& path, const WAVEFORMATEX& f, int64_t frames,
                     const std::function<int64_t(int64_t, int)>& sample) {
    std::vector<uint8_t> out;
    auto u16 = [&](uint32_t v) {
        out.push_back(static_cast<uint8_t>(v));
        out.push_back(static_cast<uint8_t>(v >> 8));
    };
    auto u32 = [&](uint32_t v) {
        u16(v & 0xffff);
        u16(v >> 16);
    };
    const uint32_t dataBytes = static_cast<uint32_t>(frames * f.nBlockAlign);
    out.insert(out.end(), {'R', 'I', 'F', 'F'});
    u32(36 + dataBytes);
    out.insert(out.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    u32(16);
    u16(f.wFormatTag);
    u16(f.nChannels);
    u32(f.nSamplesPerSec);
    u32(f.nAvgBytesPerSec);
    u16(f.nBlockAlign);
    u16(f.wBitsPerSample);
    out.insert(out.end(), {'d', 'a', 't', 'a'});
    u32(dataBytes);
    const int bytes = f.wBitsPerSample / 8;
    for (int64_t i = 0; i < frames; ++i) {
        for (int c = 0; c < f.nChannels; ++c) {
            const uint64_t v = static_cast<uint64_t>(sample(i, c));
            for (int b = 0; b < bytes; ++b)
                out.push_back(static_cast<uint8_t>(v >> (8 * b)));
        }
    }
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
}

// A CFileIO on the samples of a WAV written by WriteWav, with its Format set.
inline CFileIO* OpenWavSamples(const std::string& path, const WAVEFORMATEX& f) {
    auto* io = new CFileIO(path, CFile::modeRead | CFile::shareDenyNone, kWavHeaderBytes);
    io->Format = f;
    io->SetLimit(io->GetLength());
    return io;
}

// Passes everything to an owned IBasicIO and counts seeks, reads and bytes read.
class CountingIO : public IBasicIO {
public:
    explicit CountingIO(IBasicIO* inner) : m_inner(inner) { Format = inner->Format; }
    ~CountingIO() override { delete m_inner; }
    int64_t GetLength() override { return m_inner->GetLength(); }
    void Seek(int64_t position) override {
        ++seeks;
        m_inner->Seek(position);
    }
    bool Write(const void* source, uint32_t count) override { return m_inner->Write(source, count); }
    bool Read(void* target, uint32_t count) override {
        ++reads;
        bytesRead += count;
        return m_inner->Read(target, count);
    }
    std::string GetTypeName() override { return m_inner->GetTypeName(); }
    std::string GetFileName() override { return m_inner->GetFileName(); }
    void Close() override { m_inner->Close(); }

    int seeks = 0;
    int reads = 0;
    int64_t bytesRead = 0;

private:
    IBasicIO* m_inner;
};

inline std::vector<uint8_t> ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace tw::test
