#include "WavCues.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

namespace fh {
namespace {

using FilePtr = std::unique_ptr<FILE, int (*)(FILE*)>;

uint32_t Le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void Put32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void PutId(std::vector<uint8_t>& out, const char* id) {
    out.insert(out.end(), id, id + 4);
}

// A cue holds at most this many points; beyond it a file is taken as damaged.
constexpr uint32_t kMaxCues = 65536;

std::string TextOf(const std::vector<uint8_t>& bytes, size_t from, size_t to) {
    std::string text;
    for (size_t i = from; i < to && bytes[i] != 0; ++i)
        text.push_back(static_cast<char>(bytes[i]));
    return text;
}

} // namespace

std::vector<WavCue> ReadWavCues(const std::string& path) {
    std::vector<WavCue> cues;
    FilePtr file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file)
        return cues;
    std::fseek(file.get(), 0, SEEK_END);
    long size = std::ftell(file.get());
    uint8_t header[12];
    std::fseek(file.get(), 0, SEEK_SET);
    if (size < 12 || std::fread(header, 1, 12, file.get()) != 12 || std::memcmp(header, "RIFF", 4) != 0 ||
        std::memcmp(header + 8, "WAVE", 4) != 0)
        return cues;

    std::vector<uint32_t> ids;
    std::map<uint32_t, WavCue> byId;
    long pos = 12;
    while (pos + 8 <= size) {
        uint8_t chunk[8];
        std::fseek(file.get(), pos, SEEK_SET);
        if (std::fread(chunk, 1, 8, file.get()) != 8)
            break;
        uint32_t length = Le32(chunk + 4);
        if (length > static_cast<uint64_t>(size - pos - 8))
            break; // a chunk that claims more than the file holds ends the walk
        bool isCue = std::memcmp(chunk, "cue ", 4) == 0;
        bool isList = std::memcmp(chunk, "LIST", 4) == 0;
        if ((isCue || isList) && length >= 4) {
            std::vector<uint8_t> body(length);
            if (std::fread(body.data(), 1, length, file.get()) != length)
                break;
            if (isCue) {
                uint32_t count = Le32(body.data());
                if (count > kMaxCues || 4 + uint64_t(count) * 24 > length)
                    return {};
                for (uint32_t i = 0; i < count; ++i) {
                    const uint8_t* p = body.data() + 4 + i * 24;
                    uint32_t id = Le32(p);
                    if (!byId.count(id))
                        ids.push_back(id);
                    byId[id].frame = Le32(p + 20);
                }
            } else if (std::memcmp(body.data(), "adtl", 4) == 0) {
                size_t sub = 4;
                while (sub + 8 <= length) {
                    uint32_t subLength = Le32(body.data() + sub + 4);
                    if (subLength > length - sub - 8)
                        break;
                    bool labl = std::memcmp(body.data() + sub, "labl", 4) == 0;
                    bool note = std::memcmp(body.data() + sub, "note", 4) == 0;
                    if ((labl || note) && subLength >= 4) {
                        uint32_t id = Le32(body.data() + sub + 8);
                        auto it = byId.find(id);
                        if (it != byId.end()) {
                            std::string text = TextOf(body, sub + 12, sub + 8 + subLength);
                            (labl ? it->second.title : it->second.artist) = text;
                        }
                    }
                    sub += 8 + subLength + (subLength & 1);
                }
            }
        }
        pos += 8 + static_cast<long>(length) + (length & 1);
    }
    for (uint32_t id : ids)
        cues.push_back(byId[id]);
    return cues;
}

bool AppendWavCues(const std::string& path, const std::vector<WavCue>& cues) {
    if (cues.empty())
        return true;
    std::vector<uint8_t> out;
    PutId(out, "cue ");
    Put32(out, static_cast<uint32_t>(4 + cues.size() * 24));
    Put32(out, static_cast<uint32_t>(cues.size()));
    for (size_t i = 0; i < cues.size(); ++i) {
        auto frame = static_cast<uint32_t>(cues[i].frame);
        Put32(out, static_cast<uint32_t>(i + 1));
        Put32(out, frame);
        PutId(out, "data");
        Put32(out, 0);
        Put32(out, 0);
        Put32(out, frame);
    }
    std::vector<uint8_t> list;
    PutId(list, "adtl");
    auto addText = [&](const char* id, uint32_t cueId, const std::string& text) {
        if (text.empty())
            return;
        auto length = static_cast<uint32_t>(4 + text.size() + 1);
        PutId(list, id);
        Put32(list, length);
        Put32(list, cueId);
        list.insert(list.end(), text.begin(), text.end());
        list.push_back(0);
        if (length & 1)
            list.push_back(0);
    };
    for (size_t i = 0; i < cues.size(); ++i) {
        addText("labl", static_cast<uint32_t>(i + 1), cues[i].title);
        addText("note", static_cast<uint32_t>(i + 1), cues[i].artist);
    }
    if (list.size() > 4) {
        PutId(out, "LIST");
        Put32(out, static_cast<uint32_t>(list.size()));
        out.insert(out.end(), list.begin(), list.end());
    }

    FilePtr file(std::fopen(path.c_str(), "r+b"), std::fclose);
    if (!file)
        return false;
    uint8_t header[12];
    if (std::fread(header, 1, 12, file.get()) != 12 || std::memcmp(header, "RIFF", 4) != 0 ||
        std::memcmp(header + 8, "WAVE", 4) != 0)
        return false;
    std::fseek(file.get(), 0, SEEK_END);
    long size = std::ftell(file.get());
    if (size & 1) {
        std::fputc(0, file.get());
        ++size;
    }
    uint64_t total = static_cast<uint64_t>(size) + out.size();
    if (total - 8 > 0xFFFFFFFFull)
        return false;
    if (std::fwrite(out.data(), 1, out.size(), file.get()) != out.size())
        return false;
    std::vector<uint8_t> riffSize;
    Put32(riffSize, static_cast<uint32_t>(total - 8));
    std::fseek(file.get(), 4, SEEK_SET);
    if (std::fwrite(riffSize.data(), 1, 4, file.get()) != 4)
        return false;
    return std::fflush(file.get()) == 0;
}

} // namespace fh
