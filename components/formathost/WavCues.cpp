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

// Chunks of cues and labels larger than this are not read: no real file has them.
constexpr uint32_t kMaxTextChunk = 16u << 20;

bool IsUtf8(const std::string& text) {
    size_t i = 0;
    while (i < text.size()) {
        auto c = static_cast<unsigned char>(text[i]);
        size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (len == 0 || i + len > text.size())
            return false;
        for (size_t k = 1; k < len; ++k)
            if ((static_cast<unsigned char>(text[i + k]) >> 6) != 2)
                return false;
        i += len;
    }
    return true;
}

// Label texts are UTF-8 when they parse as such; older files hold Latin-1, taken byte by byte.
std::string TextOf(const std::vector<uint8_t>& bytes, size_t from, size_t to) {
    std::string text;
    for (size_t i = from; i < to && bytes[i] != 0; ++i)
        text.push_back(static_cast<char>(bytes[i]));
    if (IsUtf8(text))
        return text;
    std::string converted;
    for (unsigned char c : text) {
        if (c < 0x80) {
            converted.push_back(static_cast<char>(c));
        } else {
            converted.push_back(static_cast<char>(0xC0 | (c >> 6)));
            converted.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return converted;
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
    // Texts by cue id; joined at the end, since some writers put the list before the cue chunk.
    std::map<uint32_t, std::pair<std::string, std::string>> texts;
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
        if ((isCue || isList) && length >= 4 && length <= kMaxTextChunk) {
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
                        std::string text = TextOf(body, sub + 12, sub + 8 + subLength);
                        (labl ? texts[id].second : texts[id].first) = text;
                    }
                    sub += 8 + subLength + (subLength & 1);
                }
            }
        }
        pos += 8 + static_cast<long>(length) + (length & 1);
    }
    for (uint32_t id : ids) {
        WavCue cue = byId[id];
        auto it = texts.find(id);
        if (it != texts.end()) {
            cue.artist = it->second.first;
            cue.title = it->second.second;
        }
        cues.push_back(cue);
    }
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
