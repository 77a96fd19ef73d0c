// tideclip's commands. Each runs on a started engine and returns an exit status (Engine.h); what it
// finds goes to standard output, what went wrong to standard error.
#pragma once

#include "Engine.h"
#include "Options.h"

#include <tidework/clipserver.h>

namespace tideclip {

class Commands {
public:
    // Starts the clip server (InitServer); Cleanup runs when the object goes.
    explicit Commands(const Engine& engine);
    ~Commands();
    bool Started() const { return static_cast<bool>(m_server); }

    int Filters();                                              // the writer's formats
    int Info(const std::string& input, const Options& options); // what the clip is
    int Render(const std::string& input, const std::string& output, const Options& options);
    int Curve(const std::string& input, const Options& options);        // min/max columns
    int Tracks(const std::string& input, const Options& options);       // detect, list, write
    int Indexes(const std::string& input);                              // markers of the clip
    int Tags(const std::string& input);                                 // the file's tags
    int Serialize(const std::string& input, const std::string& output); // the clip's bytes
    int Status();                                                       // editor windows
    // The whole clip converted into `output` as the editor's Convert Sample Format does it.
    int Convert(const std::string& input, const std::string& output, const Options& options);

private:
    // A clip holding `input`: a serialised clip (a container image not named ".vtf") is restored,
    // anything else opened as a file. Null with a message and `status` set when that fails.
    Ref<IUnknown> OpenClip(const std::string& input, int& status);
    // Renders the whole looped length of `clip` at the options' format into `output` through a
    // writer, with the options' marks as track splits.
    int RenderTo(IUnknown* clip, const std::string& output, const Options& options);
    // A clip restored from serialised bytes.
    Ref<IUnknown> Restore(const std::vector<uint8_t>& bytes, HRESULT& result);
    // Waits for the background peak scan (at most a minute); the progress then, 100 when done.
    int16_t WaitForPeaks(IUnknown* clip);
    // Why the last call failed: the engine's error information, else the result code in words (or
    // `fallback`, for calls whose code says nothing).
    std::string Reason(HRESULT result) const;
    std::string Reason(const std::string& fallback) const;
    // Tells that a clip lacks an interface a command needs; the exit status for it.
    int Missing(const char* part) const;

    const Engine& m_engine;
    Ref<IAudioClipServer> m_server;
};

} // namespace tideclip
