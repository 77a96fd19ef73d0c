// The built-in transforms module as a host meets it: loaded with dlopen from SCF/, reached through
// DllGetClassObject only. Blocks travel as SAFEARRAYs made with the test's own copy of the runtime
// helpers, which share the module's memory layout.
#pragma once

#include "components/ComRef.h"

#include <tidework/builtin.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cmath>
#include <string>
#include <vector>

namespace twtest {

using GetClassObjectFn = HRESULT (*)(const GUID*, const GUID*, void**);
using CanUnloadFn = HRESULT (*)();

// A component module loaded with dlopen from SCF/ beside the test binary, reached through
// DllGetClassObject only.
class ModuleTest : public ::testing::Test {
protected:
    explicit ModuleTest(const char* module) : module_(module) {}
    void SetUp() override {
        library_ = dlopen((std::string(TW_OUTPUT_DIR "/SCF/") + module_).c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        getClassObject_ = reinterpret_cast<GetClassObjectFn>(dlsym(library_, "DllGetClassObject"));
        canUnload_ = reinterpret_cast<CanUnloadFn>(dlsym(library_, "DllCanUnloadNow"));
        ASSERT_NE(getClassObject_, nullptr);
        ASSERT_NE(canUnload_, nullptr);
    }
    void TearDown() override {
        if (library_)
            dlclose(library_);
    }

    template <class I> ComRef<I> Make(const CLSID& clsid, const IID& iid) {
        ComRef<IClassFactory> factory;
        ComRef<I> object;
        if (SUCCEEDED(getClassObject_(&clsid, &IID_IClassFactory, factory.put())))
            factory->CreateInstance(nullptr, iid, object.put());
        return object;
    }

    const char* module_;
    void* library_ = nullptr;
    GetClassObjectFn getClassObject_ = nullptr;
    CanUnloadFn canUnload_ = nullptr;
};

class BuiltinModuleTest : public ModuleTest {
protected:
    BuiltinModuleTest() : ModuleTest("libbuiltintransforms.so") {}

    ComRef<ITransform> MakeTransform(const CLSID& clsid, int32_t rate, int16_t channels) {
        auto t = Make<ITransform>(clsid, IID_ITransform);
        EXPECT_TRUE(t);
        if (t) {
            EXPECT_EQ(t->SetFormat(rate, channels), S_OK);
        }
        return t;
    }

    static void SetParam(ITransform* t, int index, float value) {
        auto params = QueryAs<ITransformParams>(t, IID_ITransformParams);
        ASSERT_TRUE(params);
        ASSERT_EQ(params->SetValue(index, value), S_OK);
    }

    // One block through Process: in place, or replaced by the array the transform hands back.
    static std::vector<float> ProcessBlock(ITransform* t, const float* samples, size_t count, int channels) {
        SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(count));
        std::copy(samples, samples + count, static_cast<float*>(in->pvData));
        SAFEARRAY* out = nullptr;
        const HRESULT hr = t->Process(in, &out, 4 * channels);
        EXPECT_EQ(hr, S_OK);
        SAFEARRAY* result = out != nullptr ? out : in;
        const auto* data = static_cast<const float*>(result->pvData);
        std::vector<float> block(data, data + result->rgsabound[0].cElements);
        SafeArrayDestroy(in);
        SafeArrayDestroy(out);
        return block;
    }

    // `samples` through the transform in blocks of `block` frames.
    static std::vector<float> Run(ITransform* t, const std::vector<float>& samples, int channels,
                                  size_t block = 2048) {
        std::vector<float> all;
        for (size_t at = 0; at < samples.size(); at += block * channels) {
            const size_t n = std::min(block * channels, samples.size() - at);
            auto piece = ProcessBlock(t, samples.data() + at, n, channels);
            all.insert(all.end(), piece.begin(), piece.end());
        }
        return all;
    }
};

// Interleaved sine on every channel.
inline std::vector<float> Sine(double freq, double amplitude, int rate, int64_t frames, int channels = 1) {
    std::vector<float> s(static_cast<size_t>(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            s[f * channels + c] = static_cast<float>(amplitude * std::sin(2 * M_PI * freq * f / rate));
    return s;
}

// RMS of one channel over frames [from, to).
inline double Rms(const std::vector<float>& s, int channels, int channel, int64_t from, int64_t to) {
    double sum = 0;
    for (int64_t f = from; f < to; ++f)
        sum += static_cast<double>(s[f * channels + channel]) * s[f * channels + channel];
    return std::sqrt(sum / static_cast<double>(to - from));
}

inline double Db(double ratio) {
    return 20.0 * std::log10(ratio);
}

} // namespace twtest
