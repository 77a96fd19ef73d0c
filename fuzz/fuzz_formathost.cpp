// Outside bytes through the format library's reader: each input is written to a file, opened, and
// read to the end with its cues walked. Finds crashes and out-of-bounds reads in the library and in
// the libsndfile paths it takes.
#include <tidework/formathost.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

IFormatHost* Host() {
    static IFormatHost* host = [] {
        IFormatHost* made = nullptr;
        void* library = dlopen(TW_OUTPUT_DIR "/FormatHost/libformathost.so", RTLD_NOW | RTLD_LOCAL);
        auto entry = library ? reinterpret_cast<GetFormatHostFn>(dlsym(library, "GetFormatHost")) : nullptr;
        if (!entry || !entry(&made))
            std::abort();
        return made;
    }();
    return host;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/fuzz_formathost_" + std::to_string(::getpid()) + ".wav";
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    std::u16string wide(path.begin(), path.end());
    IUnknown* source = nullptr;
    IFormatStatus* status = nullptr;
    if (Host()->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, &source, &status) && source) {
        void* p = nullptr;
        if (SUCCEEDED(source->QueryInterface(IID_IFormatCues, &p))) {
            auto* cues = static_cast<IFormatCues*>(p);
            for (int32_t c = 0; c < cues->GetCueCount(); ++c)
                for (int32_t f = 0; f < cues->GetFieldCount(c); ++f)
                    (void)cues->GetFieldValue(c, f);
            cues->Release();
        }
        source->QueryInterface(IID_IFormatSourceSetup, &p);
        auto* setup = static_cast<IFormatSourceSetup*>(p);
        source->QueryInterface(IID_IFormatSourceRead, &p);
        auto* read = static_cast<IFormatSourceRead*>(p);
        std::vector<uint8_t> buffer(65536);
        uint32_t got = 0;
        // Bounded: a header may promise far more frames than any input of the fuzzer holds.
        if (setup->Open(0, nullptr))
            for (int i = 0; i < 64 && read->Read(buffer.data(), 65536, &got, nullptr); ++i) {
            }
        read->Release();
        setup->Release();
        source->Release();
    }
    if (status)
        status->Release();
    return 0;
}
