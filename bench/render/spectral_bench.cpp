#include <array>
#include <cmath>
#include <memory>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/spectral_kernels.h"
#include "support.h"

// The peer walks bands of 16 rows: samples to floats, a matrix of 3 x (bands + 1), and floats to
// bytes. A second peer is the plain loop over pixels and bands; it stands under names of its own,
// "plain_...".

namespace qmpic::bench {
namespace {

constexpr uint32_t kBands = 32;

/// A spectrum from violet to red over `bands` bands, black levels and gains as a display has them.
struct Set {
    SQmLut lut;
    std::vector<SQmLut::SQmParam> params;
    std::vector<uint32_t> colours;
    std::vector<unsigned short> masks;
    std::vector<float> weights;  // blue, green, red of each band
    std::vector<uint8_t> marks;

    Set(uint32_t bands, uint32_t src_bpc, uint32_t dst_bpc)
        : params(bands), masks(bands, 0xFFFF), marks(size_t{8} * 192, 9) {
        lut.ucSrcBpc = static_cast<uint8_t>(src_bpc);
        lut.ucComponents = static_cast<uint8_t>(bands);
        lut.ucDstBpc = static_cast<uint8_t>(dst_bpc);
        lut.ucDstComponents = 3;
        lut.rmComponents = CQmRangeMask(192, 0, 191, 1);
        for (uint32_t i = 0; i < bands; ++i) {
            const double at = bands > 1 ? i / (bands - 1.0) : 0.5;
            const auto hill = [at](double middle) {
                return static_cast<uint32_t>(255 * std::exp(-12 * (at - middle) * (at - middle)));
            };
            const uint32_t colour = hill(0.9) | hill(0.5) << 8 | hill(0.1) << 16;
            params[i].dOffset = -20.0;
            params[i].dGain = 3.0 / bands + 0.001 * i;
            params[i].dGamma = 1.0;
            params[i].uiColor = colour;
            colours.push_back(colour);
            for (uint32_t k = 0; k < 3; ++k)
                weights.push_back(static_cast<float>(colour >> (16 - 8 * k) & 255) / 255.0f);
        }
        lut.pParams = params.data();
    }
    ~Set() {
        lut.pParams = nullptr;
        lut.pOverExpColor = lut.pUnderExpColor = nullptr;
    }
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;
    void mark() { lut.pOverExpColor = lut.pUnderExpColor = marks.data(); }
};

/// Soft shapes with noise, bands side by side; larger than the pictures of the other families.
struct Source {
    uint32_t edge = 0, bands = 0, bits = 0;
    std::vector<uint8_t> bytes;
    uint32_t stride() const { return edge * bands * bits / 8; }
    uint64_t size() const { return uint64_t{stride()} * edge; }
};
const Source& source(uint32_t edge, uint32_t bands, uint32_t bits) {
    static Source s;
    if (s.edge == edge && s.bands == bands && s.bits == bits) return s;
    s.edge = edge, s.bands = bands, s.bits = bits;
    s.bytes.resize(std::max<size_t>(s.bytes.size(), s.size()));
    uint32_t state = 1;
    const double top = bits == 8 ? 255 : 4095;
    for (uint64_t i = 0; i < uint64_t{edge} * edge; ++i) {
        const double x = static_cast<double>(i % edge), y = static_cast<double>(i / edge);
        const auto light = static_cast<uint32_t>(top * (0.4 + 0.3 * std::sin(x / 90 + y / 70)));
        for (uint64_t c = 0; c < bands; ++c) {
            state = state * 1664525 + 1013904223;
            const uint32_t value = light + state % static_cast<uint32_t>(top / 8) + 1;
            const uint64_t at = i * bands + c;
            if (bits == 8)
                s.bytes[at] = static_cast<uint8_t>(value);
            else
                reinterpret_cast<uint16_t*>(s.bytes.data())[at] = static_cast<uint16_t>(value);
        }
    }
    return s;
}

template <class T>
void plain_loop(uint8_t* d, const T* s, const Set& set, float part, uint64_t pixels) {
    const size_t n = set.params.size();
    for (uint64_t x = 0; x < pixels; ++x, d += 3, s += n) {
        float sums[3] = {};
        for (size_t c = 0; c < n; ++c) {
            const float t = (static_cast<float>(s[c]) + static_cast<float>(set.params[c].dOffset)) *
                            static_cast<float>(set.params[c].dGain);
            for (size_t k = 0; k < 3; ++k) sums[k] += t * set.weights[3 * c + k];
        }
        for (size_t k = 0; k < 3; ++k) {
            const float value = sums[k] * part * 255.0f;
            d[k] = static_cast<uint8_t>(value > 0 ? (value < 255 ? value : 255) : 0);
        }
    }
}

#ifdef QMPIC_OPENCV
void peer(cv::Mat to, const cv::Mat& from, const Set& set, float part) {
    constexpr int kRows = 16;
    const int n = from.channels();
    cv::Mat matrix(3, n + 1, CV_32F, 0.0f), floats, colours;
    for (int c = 0; c < n; ++c) {
        const auto& param = set.params[static_cast<size_t>(c)];
        for (int k = 0; k < 3; ++k) {
            const float weight = static_cast<float>(param.dGain) *
                                 set.weights[static_cast<size_t>(3 * c + k)] * part * 255.0f;
            matrix.at<float>(k, c) = weight;
            matrix.at<float>(k, n) += static_cast<float>(param.dOffset) * weight;
        }
    }
    for (int y = 0; y < from.rows; y += kRows) {
        const cv::Range rows(y, std::min(y + kRows, from.rows));
        cv::Mat shown = to.rowRange(rows);
        from.rowRange(rows).convertTo(floats, CV_32F);
        cv::transform(floats, colours, matrix);
        colours.convertTo(shown, CV_8U);
    }
}
#endif

float part_of(uint32_t bits) { return 1.0f / (bits == 8 ? 255.0f : 4095.0f); }

/// Calls with a source and a destination; `ours` gets both.
template <class Ours>
MakeJob job(uint32_t bands, uint32_t bits, uint32_t cell_bits, bool marks, Ours ours,
            [[maybe_unused]] bool draws = true) {
    return [=](uint32_t edge) {
        const uint32_t bpc = bits == 8 ? 8 : 12;
        const auto set = std::make_shared<Set>(bands, bpc, cell_bits);
        if (marks) set->mark();
        const Source& s = source(edge, bands, bits);
        const Picture d(kDestination, edge, 3, cell_bits);
        Job job;
        job.bytes = s.size() + d.size();
        job.ours = [=, &s] { ours(d, s, bpc, *set); };
#ifdef QMPIC_OPENCV
        if (cell_bits == 8 && draws) {
            const cv::Mat from(static_cast<int>(edge), static_cast<int>(edge),
                               CV_MAKETYPE(bits == 8 ? CV_8U : CV_16U, static_cast<int>(bands)),
                               const_cast<uint8_t*>(s.bytes.data()));
            job.peer = [=] { peer(d.mat(CV_8U), from, *set, part_of(bits)); };
        }
#endif
        return job;
    };
}

template <class Kernel>
MakeJob render(const Kernel& kernel, uint32_t bands, bool marks) {
    return job(bands, kernel.source.bits, kernel.destination.bits, marks,
               [run = kernel.run](const Picture& d, const Source& s, uint32_t bpc, const Set& set) {
                   run({d.data, 8 * d.bytes, d.stride(), s.bytes.data(), s.bands, bpc, s.stride(),
                        &set.lut, d.edge, d.pixels()});
               });
}

template <class T>
MakeJob plain(uint32_t bands) {
    return job(bands, 8 * sizeof(T), 8, false,
               [](const Picture& d, const Source& s, uint32_t, const Set& set) {
                   plain_loop(d.data, reinterpret_cast<const T*>(s.bytes.data()), set,
                              part_of(s.bits), d.pixels());
               });
}

MakeJob histogram(uint32_t bands, uint32_t bits, bool of_set) {
    return job(
        bands, bits, 8, false,
        [=](const Picture& d, const Source& s, uint32_t bpc, const Set& set) {
            static std::array<std::array<uint32_t, 256>, 3> h;
            const auto size = static_cast<uint32_t>(d.pixels());
            if (of_set)
                CQmPicMemAPI_Base::SpetralGetHistoRGBEx(h[0].data(), h[1].data(), h[2].data(),
                                                        s.bytes.data(), s.stride(), bpc, s.bands,
                                                        d.edge, size, &set.lut);
            else
                CQmPicMemAPI_Base::SpetralGetHistoRGB(
                    h[0].data(), h[1].data(), h[2].data(), s.bytes.data(), s.stride(), bpc, s.bands,
                    d.edge, size, set.colours.data(), set.masks.data(), 1.0 / s.bands);
        },
        false);
}

MakeJob apply(const NamedKernel<SpectralApplyKernel>& kernel) {
    return [=](uint32_t edge) {
        constexpr uint32_t bands = 8;
        const uint32_t bits = kernel.source.bits, bpc = bits == 8 ? 8 : 12;
        const auto set = std::make_shared<Set>(bands, bpc, 8);
        const Picture d(kDestination, edge, bands, bits);
        return Job{[=] { kernel.run(d.data, bands, bpc, d.stride(), &set->lut, edge, d.pixels()); },
                   {},
                   2 * d.size()};
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kSpectralSse) {
        add(kernel.name, render(kernel, kBands, false));
        add(std::string(kernel.name) + ":marks", render(kernel, kBands, true));
    }
    for (const auto& kernel : kSpectralFloat) add(kernel.name, render(kernel, kBands, false));
    for (const auto& kernel : kSpectralFloatOver) add(kernel.name, render(kernel, kBands, true));
    for (const uint32_t bands : {4u, 33u})
        add("spect_render_Nx16_3x8_sse_overexp_underexp:of_" + std::to_string(bands),
            render(kSpectralSse.begin()[1], bands, false));
    for (const auto& kernel : kSpectralApply) add(kernel.name, apply(kernel));
    add("SpetralGetHistoRGB:of_16_bits", histogram(kBands, 16, false));
    add("SpetralGetHistoRGB:of_8_bits", histogram(kBands, 8, false));
    add("SpetralGetHistoRGBEx:of_16_bits", histogram(kBands, 16, true));
    add("plain_spect_render_Nx16_3x8", plain<uint16_t>(kBands));
    add("plain_spect_render_Nx8_3x8", plain<uint8_t>(kBands));
});

}  // namespace
}  // namespace qmpic::bench
