#include "dsp/DspWrapper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

using namespace tw;

namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<float> RandomVector(size_t n, unsigned origin) {
    std::mt19937 rng(origin);
    std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v)
        x = dist(rng);
    return v;
}

// The CCS buffer of an N-point transform: N reals, room for the two extra floats.
std::vector<float> Transform(CDspWrapper& dsp, const std::vector<float>& input) {
    std::vector<float> buffer(input);
    buffer.resize(static_cast<size_t>(dsp.GetFFTSize()) + 2, 0.0f);
    dsp.FFTForward(buffer.data());
    return buffer;
}

} // namespace

TEST(DspWrapper, InitFFT_SizeThatIsNoPowerOfTwo_RoundsDown) {
    CDspWrapper dsp;
    EXPECT_EQ(dsp.GetFFTSize(), 0);
    const std::pair<int, int> cases[] = {{1024, 1024}, {1000, 512}, {513, 512}, {3, 2}, {1, 1}, {0, 1}};
    for (auto [asked, expected] : cases) {
        EXPECT_TRUE(dsp.InitFFT(asked));
        EXPECT_EQ(dsp.GetFFTSize(), expected) << asked;
    }
}

TEST(DspWrapper, FFTForward_DcCosineSineAndNyquist_LandInCcsLayoutUnscaled) {
    constexpr int n = 64;
    CDspWrapper dsp;
    dsp.InitFFT(n);
    std::vector<float> dc(n, 0.5f), cosine(n), sine(n), nyquist(n);
    for (int i = 0; i < n; ++i) {
        cosine[i] = static_cast<float>(std::cos(2 * kPi * 5 * i / n));
        sine[i] = static_cast<float>(std::sin(2 * kPi * 7 * i / n));
        nyquist[i] = (i % 2) ? -1.0f : 1.0f;
    }
    auto expectOnly = [&](const std::vector<float>& spectrum, int index, float value) {
        for (int i = 0; i < n + 2; ++i)
            EXPECT_NEAR(spectrum[i], i == index ? value : 0.0f, 1e-4f) << "float " << i;
    };
    expectOnly(Transform(dsp, dc), 0, 0.5f * n);                   // re(0)
    expectOnly(Transform(dsp, cosine), 2 * 5, n / 2.0f);           // re(5)
    expectOnly(Transform(dsp, sine), 2 * 7 + 1, -n / 2.0f);        // im(7)
    expectOnly(Transform(dsp, nyquist), n, static_cast<float>(n)); // re(N/2), then 0
}

TEST(DspWrapper, ForwardThenInverse_ReturnsTheInput) {
    for (int size : {1, 2, 256, 4096, 1000}) {
        CDspWrapper dsp;
        dsp.InitFFT(size);
        const int n = dsp.GetFFTSize();
        std::vector<float> input = RandomVector(static_cast<size_t>(n), 7u + size);
        std::vector<float> buffer = Transform(dsp, input);
        dsp.FFTInverse(buffer.data());
        for (int i = 0; i < n; ++i)
            ASSERT_NEAR(buffer[i], input[i], 1e-5f) << "size " << size << " at " << i;
    }
}

TEST(DspWrapper, FFT_FromSeveralThreadsAtOnce_GivesTheSameSpectra) {
    // Each thread plans its own sizes at the same moment; the planner must be serialised.
    auto run = [](int thread, std::vector<float>* result) {
        for (int order = 3; order <= 12; ++order) {
            CDspWrapper dsp;
            dsp.InitFFT((1 << order) + thread);
            std::vector<float> x(static_cast<size_t>(dsp.GetFFTSize()), 1.0f);
            *result = Transform(dsp, x);
        }
    };
    std::vector<float> results[4];
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(run, t, &results[t]);
    for (auto& t : threads)
        t.join();
    for (const auto& r : results) {
        ASSERT_EQ(r.size(), 4096u + 2);
        EXPECT_FLOAT_EQ(r[0], 4096.0f);
        EXPECT_FLOAT_EQ(r[2], 0.0f);
    }
}

// The standard form with beta = alpha * (size - 1) / 2, I0 from the C++ library in long double:
// the long window's Bessel values overflow a double, yet the window stays exact.
TEST(DspWrapper, Window_MatchesTheKaiserFormulaTimesThePowerScale) {
    const struct {
        float alpha;
        int size, step;
        double tolerance;
    } cases[] = {{0.2f, 256, 1, 1e-6}, {0.05f, 64, 1, 1e-6}, {1.5f, 7, 1, 1e-6},
                 {0.0f, 16, 1, 1e-6},  {3.0f, 1, 1, 1e-6},   {0.2f, 16384, 97, 1e-9}};
    for (const auto& c : cases) {
        CDspWrapper dsp;
        std::vector<float> w(static_cast<size_t>(c.size));
        dsp.Window(w.data(), c.alpha, c.size);
        const long double half = (c.size - 1) / 2.0L;
        const long double beta = c.alpha * half;
        for (int i = 0; i < c.size; i += c.step) {
            const long double x = half > 0 ? (i - half) / half : 0.0L;
            const auto expected = static_cast<double>(std::cyl_bessel_il(0.0L, beta * std::sqrt(1 - x * x)) /
                                                      std::cyl_bessel_il(0.0L, beta) /
                                                      std::sqrt(static_cast<long double>(c.size)));
            ASSERT_NEAR(w[i], expected, c.tolerance + 1e-5 * expected)
                << c.alpha << "/" << c.size << " at " << i;
        }
        if (c.size % 2) { // the centre of an odd window is the scale itself
            EXPECT_FLOAT_EQ(w[c.size / 2], 1.0f / std::sqrt(static_cast<float>(c.size)));
        }
    }
}

TEST(DspWrapper, VectorOperations_MatchPlainLoopsAndStdComplex) {
    const int n = 37; // not a multiple of any vector width
    const std::vector<float> a = RandomVector(2 * n, 1), b = RandomVector(2 * n, 2);
    CDspWrapper dsp;
    std::vector<float> mul(b), add(b), scaled(b);
    dsp.Multiply(a.data(), mul.data(), n);
    dsp.Add(a.data(), add.data(), n);
    dsp.MulConstant(-2.5f, scaled.data(), n);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(std::tuple(mul[i], add[i], scaled[i]), std::tuple(a[i] * b[i], a[i] + b[i], b[i] * -2.5f))
            << i;

    auto at = [](const std::vector<float>& v, int i) { return std::complex<float>(v[2 * i], v[2 * i + 1]); };
    std::vector<float> product(2 * n), inPlace(b), sum(b), byConstant(b), magnitude(n);
    dsp.MulComplex(a.data(), b.data(), product.data(), n);
    dsp.MulComplexInPlace(a.data(), inPlace.data(), n);
    dsp.AddComplex(a.data(), sum.data(), n);
    dsp.MulConstantComplex(0.5f, -2.0f, byConstant.data(), n);
    dsp.Magnitude(a.data(), magnitude.data(), n);
    std::vector<float> re(n), im(n), split(n);
    for (int i = 0; i < n; ++i) {
        re[i] = a[2 * i];
        im[i] = a[2 * i + 1];
    }
    dsp.Magnitude(re.data(), im.data(), split.data(), n);
    EXPECT_EQ(split, magnitude);
    for (int i = 0; i < n; ++i) {
        const auto p = at(a, i) * at(b, i);
        const auto c = at(b, i) * std::complex<float>(0.5f, -2.0f);
        EXPECT_NEAR(product[2 * i], p.real(), 1e-6f);
        EXPECT_NEAR(product[2 * i + 1], p.imag(), 1e-6f);
        EXPECT_EQ(at(inPlace, i), at(product, i));
        EXPECT_EQ(at(sum, i), at(a, i) + at(b, i));
        EXPECT_NEAR(byConstant[2 * i], c.real(), 1e-6f);
        EXPECT_NEAR(byConstant[2 * i + 1], c.imag(), 1e-6f);
        EXPECT_NEAR(magnitude[i], std::abs(at(a, i)), 1e-6f);
    }
}

TEST(DspWrapper, FIR_CarriesItsDelayLineAcrossCallsAndWorksInPlace) {
    const std::vector<float> taps = {0.5f, -0.25f, 0.125f, 1.0f};
    const std::vector<float> x = RandomVector(100, 5);
    std::vector<float> expected(x.size(), 0.0f);
    for (size_t k = 0; k < x.size(); ++k)
        for (size_t j = 0; j < taps.size() && j <= k; ++j)
            expected[k] += taps[j] * x[k - j];

    CDspWrapper whole, split;
    ASSERT_TRUE(whole.InitFIR(taps.data(), 4));
    ASSERT_TRUE(split.InitFIR(taps.data(), 4));
    std::vector<float> y(x.size()), z(x);
    whole.FIR(x.data(), y.data(), 100);
    split.FIRInPlace(z.data(), 2); // shorter than the delay line
    split.FIRInPlace(z.data() + 2, 61);
    split.FIRInPlace(z.data() + 63, 37);
    for (size_t k = 0; k < x.size(); ++k) {
        EXPECT_NEAR(y[k], expected[k], 1e-6f) << k;
        EXPECT_NEAR(z[k], expected[k], 1e-6f) << k;
    }
    EXPECT_FALSE(whole.InitFIR(taps.data(), 0));
}

TEST(DspWrapper, IIR_OnePoleNormalisedByA0_DecaysGeometricallyAcrossCalls) {
    // 2 y[k] - y[k-1] = 2 x[k], that is y[k] = x[k] + 0.5 y[k-1].
    const float taps[] = {2.0f, 0.0f, 2.0f, -1.0f};
    CDspWrapper dsp;
    ASSERT_TRUE(dsp.InitIIR(taps, 1));
    std::vector<float> impulse(20, 0.0f), out(20);
    impulse[0] = 1.0f;
    dsp.IIR(impulse.data(), out.data(), 8);
    dsp.IIRInPlace(impulse.data() + 8, 12);
    std::copy(impulse.begin() + 8, impulse.end(), out.begin() + 8);
    for (int k = 0; k < 20; ++k)
        EXPECT_NEAR(out[k], std::pow(0.5, k), 1e-7) << k;

    const float noA0[] = {1.0f, 0.0f};
    EXPECT_FALSE(dsp.InitIIR(noA0, 0));
}

TEST(DspWrapper, IntegerConversions_RoundSaturateAndInvert) {
    CDspWrapper dsp;
    const float in[] = {0.0f, 0.25f, -0.25f, 0.6f, -0.6f, 3.0f / 65536.0f, 2.5f / 65536.0f, NAN};
    std::vector<int16_t> s16(8);
    dsp.ToInt16(in, s16.data(), 8);
    EXPECT_EQ(s16, (std::vector<int16_t>{0, 16384, -16384, 32767, -32768, 3, 2, 0})); // ties to even
    std::vector<int8_t> s8(3);
    dsp.ToInt8(in + 1, s8.data(), 3);
    EXPECT_EQ(s8, (std::vector<int8_t>{64, -64, 127}));

    const std::vector<int16_t> back = {-32768, -1, 0, 16384, 32767};
    std::vector<float> f(5);
    std::vector<int16_t> again(5);
    dsp.FromInt16(back.data(), f.data(), 5);
    dsp.ToInt16(f.data(), again.data(), 5);
    EXPECT_FLOAT_EQ(f[3], 0.25f);
    EXPECT_EQ(again, back);

    const uint8_t bytes[] = {0, 1, 128, 255};
    std::vector<float> u(4);
    dsp.FromUInt8(bytes, u.data(), 4);
    EXPECT_EQ(u, (std::vector<float>{-128.0f / 127.0f, -1.0f, 0.0f, 1.0f}));
}
