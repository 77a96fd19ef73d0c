#include "WavCues.h"

#include <algorithm>
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

// The three containers of WAVE data. RIFF and RF64 share their chunk layout (four-character id,
// 32-bit size, even alignment); RF64 keeps the sizes that do not fit in its "ds64" chunk. Wave64
// names chunks by GUID, counts a chunk's size with its 24-byte header and aligns to 8 bytes.
enum class Container { None, Riff, Rf64, Wave64 };

// Wave64 GUIDs: a registered RIFF id followed by this tail stands for that id.
constexpr uint8_t kW64Tail[12] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};
constexpr uint8_t kW64Riff[16] = {'r',  'i',  'f',  'f',  0x2E, 0x91, 0xCF, 0x11,
                                  0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr uint8_t kW64List[16] = {'l',  'i',  's',  't',  0x2F, 0x91, 0xCF, 0x11,
                                  0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr uint8_t kW64Wave[4] = {'w', 'a', 'v', 'e'};

uint64_t Le64(const uint8_t* p) {
    return uint64_t(Le32(p)) | uint64_t(Le32(p + 4)) << 32;
}

void Put64(std::vector<uint8_t>& out, uint64_t v) {
    Put32(out, static_cast<uint32_t>(v));
    Put32(out, static_cast<uint32_t>(v >> 32));
}

Container ContainerOf(const uint8_t* header, long size) {
    if (size >= 12 && std::memcmp(header + 8, "WAVE", 4) == 0) {
        if (std::memcmp(header, "RIFF", 4) == 0)
            return Container::Riff;
        if (std::memcmp(header, "RF64", 4) == 0)
            return Container::Rf64;
    }
    if (size >= 40 && std::memcmp(header, kW64Riff, 16) == 0 && std::memcmp(header + 24, kW64Wave, 4) == 0 &&
        std::memcmp(header + 28, kW64Tail, 12) == 0)
        return Container::Wave64;
    return Container::None;
}

// The RIFF id a Wave64 chunk GUID stands for, or empty for one that stands for none.
std::string W64Id(const uint8_t* guid) {
    if (std::memcmp(guid, kW64List, 16) == 0)
        return "LIST";
    if (std::memcmp(guid + 4, kW64Tail, 12) == 0)
        return std::string(reinterpret_cast<const char*>(guid), 4);
    return std::string();
}

void ReadCueBody(const std::vector<uint8_t>& body, std::vector<uint32_t>& ids,
                 std::map<uint32_t, WavCue>& byId, bool& damaged) {
    const auto length = static_cast<uint32_t>(body.size());
    uint32_t count = Le32(body.data());
    if (count > kMaxCues || 4 + uint64_t(count) * 24 > length) {
        damaged = true;
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* p = body.data() + 4 + i * 24;
        uint32_t id = Le32(p);
        if (!byId.count(id))
            ids.push_back(id);
        byId[id].frame = Le32(p + 20);
    }
}

void ReadAdtlBody(const std::vector<uint8_t>& body,
                  std::map<uint32_t, std::pair<std::string, std::string>>& texts) {
    const auto length = static_cast<uint32_t>(body.size());
    if (length < 4 || std::memcmp(body.data(), "adtl", 4) != 0)
        return;
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

} // namespace

std::vector<WavCue> ReadWavCues(const std::string& path) {
    std::vector<WavCue> cues;
    FilePtr file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file)
        return cues;
    std::fseek(file.get(), 0, SEEK_END);
    long size = std::ftell(file.get());
    uint8_t header[40] = {};
    std::fseek(file.get(), 0, SEEK_SET);
    if (size < 12 || std::fread(header, 1, size < 40 ? 12 : 40, file.get()) < 12)
        return cues;
    const Container container = ContainerOf(header, size);
    if (container == Container::None)
        return cues;
    const bool wave64 = container == Container::Wave64;
    const long headerSize = wave64 ? 24 : 8;
    const long align = wave64 ? 8 : 2;

    // RF64 keeps the size of its data chunk in "ds64" when it passes 32 bits.
    uint64_t rf64DataSize = 0;
    std::vector<uint32_t> ids;
    std::map<uint32_t, WavCue> byId;
    // Texts by cue id; joined at the end, since some writers put the list before the cue chunk.
    std::map<uint32_t, std::pair<std::string, std::string>> texts;
    bool damaged = false;
    long pos = wave64 ? 40 : 12;
    while (pos + headerSize <= size && !damaged) {
        uint8_t chunk[24];
        std::fseek(file.get(), pos, SEEK_SET);
        if (std::fread(chunk, 1, static_cast<size_t>(headerSize), file.get()) !=
            static_cast<size_t>(headerSize))
            break;
        std::string id;
        uint64_t length = 0;
        if (wave64) {
            id = W64Id(chunk);
            const uint64_t whole = Le64(chunk + 16);
            if (whole < 24)
                break;
            length = whole - 24;
        } else {
            id.assign(reinterpret_cast<const char*>(chunk), 4);
            length = Le32(chunk + 4);
            if (container == Container::Rf64 && id == "data" && length == 0xFFFFFFFFu)
                length = rf64DataSize;
        }
        if (length > static_cast<uint64_t>(size - pos - headerSize))
            break; // a chunk that claims more than the file holds ends the walk
        const bool isCue = id == "cue ";
        const bool isList = id == "LIST";
        const bool isDs64 = container == Container::Rf64 && id == "ds64";
        if ((isCue || isList || isDs64) && length >= 4 && length <= kMaxTextChunk) {
            std::vector<uint8_t> body(static_cast<size_t>(length));
            if (std::fread(body.data(), 1, body.size(), file.get()) != body.size())
                break;
            if (isCue)
                ReadCueBody(body, ids, byId, damaged);
            else if (isList)
                ReadAdtlBody(body, texts);
            else if (length >= 16)
                rf64DataSize = Le64(body.data() + 8);
        }
        const uint64_t step = static_cast<uint64_t>(headerSize) + length;
        pos += static_cast<long>((step + align - 1) / align * align);
    }
    if (damaged)
        return {};
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

namespace {

std::vector<uint8_t> CueBody(const std::vector<WavCue>& cues) {
    std::vector<uint8_t> out;
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
    return out;
}

// The "adtl" list body, or empty when no cue has a text.
std::vector<uint8_t> AdtlBody(const std::vector<WavCue>& cues) {
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
    return list.size() > 4 ? list : std::vector<uint8_t>();
}

void PutRiffChunk(std::vector<uint8_t>& out, const char* id, const std::vector<uint8_t>& body) {
    PutId(out, id);
    Put32(out, static_cast<uint32_t>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    if (body.size() & 1)
        out.push_back(0);
}

// Chunks of Wave64 start on 8-byte boundaries of the file; `base` is the file position of `out`'s
// first byte.
void PutW64Chunk(std::vector<uint8_t>& out, uint64_t base, const uint8_t* guid,
                 const std::vector<uint8_t>& body) {
    out.insert(out.end(), guid, guid + 16);
    Put64(out, 24 + body.size());
    out.insert(out.end(), body.begin(), body.end());
    while ((base + out.size()) % 8 != 0)
        out.push_back(0);
}

// The file position of a Wave64 file's data chunk, or -1.
long W64DataChunk(FILE* file, long size) {
    long pos = 40;
    uint8_t chunk[24];
    while (pos + 24 <= size) {
        if (std::fseek(file, pos, SEEK_SET) != 0 || std::fread(chunk, 1, 24, file) != 24)
            return -1;
        const uint64_t whole = Le64(chunk + 16);
        if (W64Id(chunk) == "data")
            return pos;
        if (whole < 24 || whole > static_cast<uint64_t>(size - pos))
            return -1;
        pos += static_cast<long>((whole + 7) / 8 * 8);
    }
    return -1;
}

// Moves the bytes from `from` to the end of the file `by` bytes on, last block first.
bool ShiftTail(FILE* file, long from, long size, long by) {
    std::vector<uint8_t> block(1 << 20);
    long end = size;
    while (end > from) {
        const long start = std::max(from, end - static_cast<long>(block.size()));
        const auto count = static_cast<size_t>(end - start);
        if (std::fseek(file, start, SEEK_SET) != 0 || std::fread(block.data(), 1, count, file) != count ||
            std::fseek(file, start + by, SEEK_SET) != 0 || std::fwrite(block.data(), 1, count, file) != count)
            return false;
        end = start;
    }
    return true;
}

bool WriteAt(FILE* file, long position, const std::vector<uint8_t>& bytes) {
    return std::fseek(file, position, SEEK_SET) == 0 &&
           std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

} // namespace

bool AppendWavCues(const std::string& path, const std::vector<WavCue>& cues) {
    if (cues.empty())
        return true;
    FilePtr file(std::fopen(path.c_str(), "r+b"), std::fclose);
    if (!file)
        return false;
    uint8_t header[40] = {};
    std::fseek(file.get(), 0, SEEK_END);
    long size = std::ftell(file.get());
    std::fseek(file.get(), 0, SEEK_SET);
    if (size < 12 || std::fread(header, 1, size < 40 ? 12 : 40, file.get()) < 12)
        return false;
    const Container container = ContainerOf(header, size);
    if (container == Container::None)
        return false;

    const std::vector<uint8_t> cueBody = CueBody(cues);
    const std::vector<uint8_t> listBody = AdtlBody(cues);
    std::vector<uint8_t> out;
    if (container == Container::Wave64) {
        // libsndfile's Wave64 reader walks past the data chunk 24 bytes too far and then takes
        // the rest of the file as samples, so the chunks go in front of the data chunk.
        const long data = W64DataChunk(file.get(), size);
        if (data < 0)
            return false;
        uint8_t cueGuid[16] = {'c', 'u', 'e', ' '};
        std::memcpy(cueGuid + 4, kW64Tail, 12);
        PutW64Chunk(out, static_cast<uint64_t>(data), cueGuid, cueBody);
        if (!listBody.empty())
            PutW64Chunk(out, static_cast<uint64_t>(data), kW64List, listBody);
        std::vector<uint8_t> sizeField;
        Put64(sizeField, static_cast<uint64_t>(size) + out.size()); // a Wave64 size counts its header
        if (!ShiftTail(file.get(), data, size, static_cast<long>(out.size())) ||
            !WriteAt(file.get(), data, out) || !WriteAt(file.get(), 16, sizeField))
            return false;
        return std::fflush(file.get()) == 0;
    }

    // RIFF and RF64 readers walk on past the data chunk: the chunks follow it, on an even byte.
    if (size & 1)
        out.push_back(0);
    PutRiffChunk(out, "cue ", cueBody);
    if (!listBody.empty())
        PutRiffChunk(out, "LIST", listBody);
    const uint64_t total = static_cast<uint64_t>(size) + out.size();
    std::vector<uint8_t> sizeField;
    long sizeAt = 4;
    if (container == Container::Riff) {
        if (total - 8 > 0xFFFFFFFFull)
            return false;
        Put32(sizeField, static_cast<uint32_t>(total - 8));
    } else {
        // The RIFF size of RF64 lives in "ds64", the first chunk: its body starts with it.
        if (size < 28 || std::memcmp(header + 12, "ds64", 4) != 0)
            return false;
        Put64(sizeField, total - 8);
        sizeAt = 20;
    }
    if (!WriteAt(file.get(), size, out) || !WriteAt(file.get(), sizeAt, sizeField))
        return false;
    return std::fflush(file.get()) == 0;
}

} // namespace fh
