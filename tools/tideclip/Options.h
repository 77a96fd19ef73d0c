// tideclip's command line: a command, its file arguments and named options with values.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tideclip {

struct Mark {
    uint32_t position = 0;
    std::string title;
    std::string artist;
};

class Options {
public:
    // False with a reason in Error() for an unknown option, a missing value or one that is not a
    // number where a number belongs.
    bool Parse(int argc, char** argv);
    const std::string& Error() const { return m_error; }

    const std::string& Command() const { return m_command; }
    const std::vector<std::string>& Files() const { return m_files; }

    int32_t Rate() const { return m_rate; }
    int16_t Channels() const { return m_channels; }
    uint16_t Bits() const { return m_bits; }
    int32_t Width() const { return m_width; }
    std::optional<int64_t> Begin() const { return m_begin; }
    std::optional<int64_t> End() const { return m_end; }
    std::optional<int64_t> Length() const { return m_length; }
    float Threshold() const { return m_threshold; }
    float MinTrack() const { return m_minTrack; }
    float MinPause() const { return m_minPause; }
    const std::string& Extension() const { return m_extension; }
    const std::string& WritePrefix() const { return m_writePrefix; }
    const std::vector<Mark>& Marks() const { return m_marks; }
    // The words of convert's --filter and --downmix, as given ("" when not given).
    const std::string& Filter() const { return m_filter; }
    const std::string& DownMix() const { return m_downMix; }
    // Whether `name` ("--rate", ...) was on the command line, not left at its default.
    bool Given(const std::string& name) const { return m_given.count(name) != 0; }

private:
    bool Number(const std::string& name, const char* text, int64_t low, int64_t high, int64_t& out);
    bool Real(const std::string& name, const char* text, float& out);
    bool ParseMark(const std::string& text);

    std::string m_error;
    std::string m_command;
    std::vector<std::string> m_files;
    int32_t m_rate = 44100;
    int16_t m_channels = 2;
    uint16_t m_bits = 16;
    int32_t m_width = 64;
    std::optional<int64_t> m_begin;
    std::optional<int64_t> m_end;
    std::optional<int64_t> m_length;
    float m_threshold = -40.0f;
    float m_minTrack = 5.0f;
    float m_minPause = 1.0f;
    std::string m_extension = "wav";
    std::string m_writePrefix;
    std::vector<Mark> m_marks;
    std::string m_filter;
    std::string m_downMix;
    std::set<std::string> m_given;
};

} // namespace tideclip
