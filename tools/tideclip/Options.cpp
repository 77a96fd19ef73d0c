#include "Options.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace tideclip {

bool Options::Number(const std::string& name, const char* text, int64_t low, int64_t high, int64_t& out) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text, &end, 10);
    if (end == text || *end != 0 || errno != 0 || value < low || value > high) {
        m_error = name + " wants a whole number from " + std::to_string(low) + " to " + std::to_string(high);
        return false;
    }
    out = value;
    return true;
}

bool Options::Real(const std::string& name, const char* text, float& out) {
    char* end = nullptr;
    const float value = std::strtof(text, &end);
    if (end == text || *end != 0 || !std::isfinite(value)) {
        m_error = name + " wants a number";
        return false;
    }
    out = value;
    return true;
}

// FRAME[:TITLE[:ARTIST]]
bool Options::ParseMark(const std::string& text) {
    const size_t first = text.find(':');
    int64_t position = 0;
    if (!Number("--mark", text.substr(0, first).c_str(), 0, UINT32_MAX, position))
        return false;
    Mark mark;
    mark.position = static_cast<uint32_t>(position);
    if (first != std::string::npos) {
        const size_t second = text.find(':', first + 1);
        mark.title =
            text.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
        if (second != std::string::npos)
            mark.artist = text.substr(second + 1);
    }
    m_marks.push_back(mark);
    return true;
}

bool Options::Parse(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.size() < 3 || arg.compare(0, 2, "--") != 0) {
            if (m_command.empty())
                m_command = arg;
            else
                m_files.push_back(arg);
            continue;
        }
        if (i + 1 >= argc) {
            m_error = arg + " wants a value";
            return false;
        }
        const char* value = argv[++i];
        int64_t number = 0;
        bool ok = true;
        if (arg == "--rate") {
            ok = Number(arg, value, 1, 768000, number);
            m_rate = static_cast<int32_t>(number);
        } else if (arg == "--channels") {
            ok = Number(arg, value, 1, 8, number);
            m_channels = static_cast<int16_t>(number);
        } else if (arg == "--bits") {
            ok = Number(arg, value, 8, 32, number) && (number % 8 == 0);
            if (!ok && m_error.empty())
                m_error = "--bits wants 8, 16, 24 or 32";
            m_bits = static_cast<uint16_t>(number);
        } else if (arg == "--width") {
            ok = Number(arg, value, 1, 100000, number);
            m_width = static_cast<int32_t>(number);
        } else if (arg == "--begin" || arg == "--end" || arg == "--length") {
            ok = Number(arg, value, 0, INT64_MAX / 2, number);
            (arg == "--begin" ? m_begin : arg == "--end" ? m_end : m_length) = number;
        } else if (arg == "--threshold") {
            ok = Real(arg, value, m_threshold);
        } else if (arg == "--min-track") {
            ok = Real(arg, value, m_minTrack);
        } else if (arg == "--min-pause") {
            ok = Real(arg, value, m_minPause);
        } else if (arg == "--format") {
            m_extension = value;
        } else if (arg == "--write") {
            m_writePrefix = value;
        } else if (arg == "--mark") {
            ok = ParseMark(value);
        } else if (arg == "--filter") {
            m_filter = value;
        } else if (arg == "--downmix") {
            m_downMix = value;
        } else {
            m_error = "unknown option " + arg;
            ok = false;
        }
        if (!ok)
            return false;
        m_given.insert(arg);
    }
    if (m_command.empty()) {
        m_error = "no command given";
        return false;
    }
    return true;
}

} // namespace tideclip
