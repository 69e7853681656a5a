#include <array>
#include <cmath>
#include <memory>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

// The peer blends the whole picture with the overlay and copies the result under a mask of bytes,
// which it is given: it has no masks of bits, and finds no key colour.

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

enum Kind { kDense, kShapes, kSparse };
constexpr const char* kKinds[] = {":dense", "", ":sparse"};

/// Everywhere; shapes with ragged edges, as a threshold finds them; a pixel in five hundred.
bool is_set(Kind kind, uint32_t x, uint32_t y) {
    static uint32_t state = 1;
    state = state * 1664525 + 1013904223;
    if (kind == kDense) return true;
    if (kind == kSparse) return state >> 23 == 0;
    return std::sin(x * 0.021) * std::cos(y * 0.017) + (state >> 24) / 2048.0 > 0.4;
}

/// The same mask in its forms: bits, bytes, and annotations of one and three bytes with a key of 0.
struct Masks {
    uint32_t edge;
    std::vector<uint8_t> bits, bytes, words, colours;
    Masks(Kind kind, uint32_t edge_)
        : edge(edge_),
          bits(size_t{edge} * edge / 8 + 1),
          bytes(size_t{edge} * edge),
          words(2 * bytes.size()),
          colours(3 * bytes.size()) {
        for (uint32_t y = 0; y < edge; ++y)
            for (uint32_t x = 0; x < edge; ++x) {
                if (!is_set(kind, x, y)) continue;
                const size_t at = size_t{y} * edge + x;
                bits[at / 8] |= static_cast<uint8_t>(0x80u >> x % 8);
                bytes[at] = static_cast<uint8_t>(1 + x % 255);
                words[2 * at] = 1;
                for (size_t c = 0; c < 3; ++c)
                    colours[3 * at + c] = static_cast<uint8_t>(40 + x % 99);
            }
    }
    static const Masks& get(Kind kind, uint32_t edge) {
        static std::vector<std::unique_ptr<Masks>> made;
        static std::vector<Kind> kinds;
        for (size_t i = 0; i < made.size(); ++i)
            if (made[i]->edge == edge && kinds[i] == kind) return *made[i];
        kinds.push_back(kind);
        return *made.emplace_back(std::make_unique<Masks>(kind, edge));
    }
};

/// A set of colours.
struct Colours : SQmLut {
    Colours() {
        Alloc(*this, 8, 1, 8, 3);
        for (uint32_t v = 0; v < 256; ++v)
            for (uint32_t c = 0; c < 3; ++c)
                static_cast<uint8_t**>(pLuts)[v][c] = static_cast<uint8_t>(v * 7 + c * 60);
    }
};

#ifdef QMPIC_OPENCV
/// `over` is laid over `d` where the mask is not 0.
void blend(cv::Mat& d, const cv::Mat& over, const cv::Mat& mask) {
    cv::Mat made;
    cv::addWeighted(d, 155 / 255.0, over, 100 / 255.0, 0, made);
    made.copyTo(d, mask);
}
#endif

using Call = void(const Picture& d, const Masks& masks);

/// `bytes`: those of the overlay, for 8 pixels.
template <class Form>
void add(const char* name, uint64_t bytes, Call* ours, Form form) {
    for (const Kind kind : {kDense, kShapes, kSparse})
        bench::add(std::string(name) + kKinds[kind], [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, 8);
            const Masks& masks = Masks::get(kind, edge);
            Job job;
            job.ours = [=, &masks] { ours(d, masks); };
            job.bytes = 2 * d.size() + d.pixels() * bytes / 8;
#ifdef QMPIC_OPENCV
            const int rows = static_cast<int>(edge);
            cv::Mat picture = d.mat(CV_8U);
            const cv::Mat mask(rows, rows, CV_8UC1, const_cast<uint8_t*>(masks.bytes.data()));
            const cv::Mat over = form(masks);
            job.peer = [=]() mutable { blend(picture, over, mask); };
#endif
            return job;
        });
}

const bool registered = add_family([] {
#ifdef QMPIC_OPENCV
    const auto colour = [](const Masks& m) {
        const int rows = static_cast<int>(m.edge);
        return cv::Mat(rows, rows, CV_8UC3, cv::Scalar(10, 200, 90));
    };
    const auto annotation = [](const Masks& m) {
        const int rows = static_cast<int>(m.edge);
        return cv::Mat(rows, rows, CV_8UC3, const_cast<uint8_t*>(m.colours.data()));
    };
#else
    const auto colour = [](const Masks&) {}, annotation = colour;
#endif
    add(
        "BlendColorWithBinary", 1,
        [](const Picture& d, const Masks& m) {
            Api::BlendColorWithBinary(d.data, d.stride(), m.bits.data(), 0, m.edge / 8, m.edge,
                                      m.edge, 0x5AC80A, 100);
        },
        colour);
    add(
        "BlendColorWithBinary:from_bit_3", 1,
        [](const Picture& d, const Masks& m) {
            Api::BlendColorWithBinary(d.data, d.stride(), m.bits.data(), 3, m.edge / 8, m.edge - 3,
                                      m.edge, 0x5AC80A, 100);
        },
        colour);
    add(
        "BlendColorWithUnpackedBinary", 8,
        [](const Picture& d, const Masks& m) {
            Api::BlendColorWithUnpackedBinary(d.data, d.stride(), m.bytes.data(), 8, m.edge, m.edge,
                                              m.edge, 0x5AC80A, 100);
        },
        colour);
    add(
        "BlendColorWithUnpackedBinary:of_words", 16,
        [](const Picture& d, const Masks& m) {
            Api::BlendColorWithUnpackedBinary(d.data, d.stride(), m.words.data(), 16, 2 * m.edge,
                                              m.edge, m.edge, 0x5AC80A, 100);
        },
        colour);
    add(
        "BlendColorWithAnnotation", 24,
        [](const Picture& d, const Masks& m) {
            Api::BlendColorWithAnnotation(d.data, d.stride(), m.colours.data(), 3 * m.edge, m.edge,
                                          m.edge, 0, 155);
        },
        annotation);
    add(
        "BlendColorWithAnnotationEx", 8,
        [](const Picture& d, const Masks& m) {
            static const Colours colours;
            Api::BlendColorWithAnnotationEx(d.data, d.stride(), m.bytes.data(), m.edge, 8, 1,
                                            m.edge, m.edge, 0, 155, &colours);
        },
        annotation);
});

}  // namespace
}  // namespace qmpic::bench
