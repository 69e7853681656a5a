#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>

#include "frame/frame.h"
#include "histogram/contents.h"
#include "support/failing_alloc.h"

// A frame, its steps, and the road that a user of the peer takes. `frame/...:step` is one step of
// the frame above it; its memcpy moves as much as the step must read and write.

namespace qmpic::bench {
namespace {

const float* floats() {
    static const std::vector<float> all = [] {
        const Tiff picture("cells_3ch_16bit_512x512.tif");
        std::vector<float> values;
        values.reserve(size_t{kMost} * kMost * FloatFrame::kChannels);
        for (uint32_t y = 0; y < kMost; ++y)
            for (uint32_t x = 0; x < kMost; ++x)
                for (uint32_t c = 0; c < FloatFrame::kChannels; ++c)
                    values.push_back(static_cast<float>(picture.get(x, y, c)) / 65536);
        return values;
    }();
    return all.data();
}

const uint16_t* words(uint32_t components) {
    return reinterpret_cast<const uint16_t*>(content({components, 16, 12}, kReal));
}

#ifdef QMPIC_OPENCV

constexpr int kBand = 16;  // rows that stay in the cache

cv::Mat wrap(uint32_t edge, int type, const void* data) {
    const int rows = static_cast<int>(edge);
    return {rows, rows, type, const_cast<void*>(data)};
}

struct Levels {
    double low, high;
};

/// The bins where the sums from either end reach a share of all.
Levels walk(const cv::Mat& counts, double pixels) {
    const double target = std::max(std::trunc(pixels * kCut / 100), 1.0);
    int low = 0, high = counts.rows - 1;
    double sum = 0;
    for (; low < high && (sum += static_cast<double>(counts.at<float>(low))) < target;) ++low;
    sum = 0;
    for (; high > low && (sum += static_cast<double>(counts.at<float>(high))) < target;) --high;
    return {static_cast<double>(low), static_cast<double>(std::max(high, low + 1))};
}

Levels levels_of(const cv::Mat& picture, int channel, int bins) {
    cv::Mat counts;
    const float range[] = {0, static_cast<float>(bins)};
    const float* ranges[] = {range};
    cv::calcHist(&picture, 1, &channel, cv::noArray(), counts, 1, &bins, ranges);
    return walk(counts, static_cast<double>(picture.total()));
}

/// The picture's window with a colour laid under its mask.
struct PeerShown {
    cv::Mat rendered, screen, mask, colour, blended;
    explicit PeerShown(const Shown& shown)
        : rendered(static_cast<int>(shown.edge), static_cast<int>(shown.edge), CV_8UC3),
          screen(static_cast<int>(shown.screen.edge), static_cast<int>(shown.screen.edge), CV_8UC3),
          mask(screen.size(), CV_8UC1),
          colour(screen.size(), CV_8UC3,
                 cv::Scalar(kMaskColour >> 16 & 255, kMaskColour >> 8 & 255, kMaskColour & 255)) {
        for (int y = 0; y < mask.rows; ++y)
            for (int x = 0; x < mask.cols; ++x) {
                const auto byte = static_cast<size_t>(y) * shown.screen.mask_stride() +
                                  static_cast<size_t>(x) / 8;
                const bool on = (shown.screen.mask[byte] & 128 >> x % 8) != 0;
                mask.at<uint8_t>(y, x) = on ? 255 : 0;
            }
    }
    void finish() {
        cv::resize(rendered, screen, screen.size(), 0, 0, cv::INTER_AREA);
        const double alpha = kMaskAlpha / 255.0;
        cv::addWeighted(colour, alpha, screen, 1 - alpha, -0.499, blended);  // cut, too
        blended.copyTo(screen, mask);
    }
};

/// Planes to bytes by their levels, bytes to colours, colours merged: a + b - a * b / 255.
struct PeerChannels {
    std::vector<cv::Mat> planes, maps;
    cv::Mat bytes, colour, product;

    explicit PeerChannels(const std::vector<uint32_t>& colours) {
        for (const uint32_t c : colours) {
            cv::Mat map(256, 1, CV_8UC3);
            for (uint32_t v = 0; v < 256; ++v) {
                const auto cell = [&](uint32_t of) { return static_cast<uint8_t>(of * v / 255); };
                map.at<cv::Vec3b>(static_cast<int>(v)) = {cell(c >> 16 & 255), cell(c >> 8 & 255),
                                                          cell(c & 255)};
            }
            maps.push_back(map);
        }
    }
    void render(const cv::Mat& from, cv::Mat& to, const std::vector<Levels>& levels) {
        for (int y = 0; y < from.rows; y += kBand) {
            const cv::Range band(y, std::min(y + kBand, from.rows));
            cv::Mat merged = to.rowRange(band);
            cv::split(from.rowRange(band), planes);
            for (size_t c = 0; c < planes.size(); ++c) {
                const double scale = 255 / (levels[c].high - levels[c].low);
                // Half a step less: what is rounded is then cut, as a table of whole steps cuts.
                planes[c].convertTo(bytes, CV_8U, scale, -levels[c].low * scale - 0.499);
                cv::applyColorMap(bytes, c == 0 ? merged : colour, maps[c]);
                if (c == 0) continue;
                cv::multiply(merged, colour, product, 1.0 / 255);
                cv::subtract(colour, product, colour);
                cv::add(merged, colour, merged);
            }
        }
    }
};

struct PeerChannelFrame {
    cv::Mat from;
    PeerChannels channels;
    PeerShown shown;
    explicit PeerChannelFrame(const ChannelFrame& ours)
        : from(wrap(ours.shown.edge, CV_16UC4, ours.picture.pData)),
          channels({std::begin(ChannelFrame::kColours), std::end(ChannelFrame::kColours)}),
          shown(ours.shown) {}
    void run() {
        std::vector<Levels> levels;
        for (int c = 0; c < from.channels(); ++c)
            levels.push_back(levels_of(from, c, 1 << ChannelFrame::kBits));
        channels.render(from, shown.rendered, levels);
        shown.finish();
    }
};

/// One pass to the sums, whose levels then scale them: it reads the bands once, and we twice.
struct PeerSpectralFrame {
    cv::Mat from, weights, sums;
    PeerShown shown;
    explicit PeerSpectralFrame(const SpectralFrame& ours)
        : from(wrap(ours.shown.edge, CV_16UC(SpectralFrame::kBands), ours.picture.pData)),
          weights(3, SpectralFrame::kBands, CV_32F),
          shown(ours.shown) {
        for (uint32_t band = 0; band < SpectralFrame::kBands; ++band)
            for (uint32_t cell = 0; cell < 3; ++cell)
                weights.at<float>(static_cast<int>(cell), static_cast<int>(band)) =
                    static_cast<float>(ours.colours[band] >> (16 - 8 * cell) & 255) /
                    (255 * SpectralFrame::kBands);
    }
    void render() { cv::transform(from, sums, weights); }
    void run() {
        render();
        double high = 1;
        for (int c = 0; c < 3; ++c)
            high = std::max(high, levels_of(sums, c, 1 << SpectralFrame::kBits).high);
        sums.convertTo(shown.rendered, CV_8U, 255 / high);
        shown.finish();
    }
};

struct PeerFloatFrame {
    cv::Mat from;
    PeerChannels channels;
    PeerShown shown;
    explicit PeerFloatFrame(const FloatFrame& ours)
        : from(wrap(ours.edge, CV_32FC3, ours.samples)),
          channels({0xFF0000, 0x00FF00, 0x0000FF}),
          shown(ours.shown) {}
    void run() {
        double low, high;
        cv::minMaxLoc(from.reshape(1), &low, &high);
        channels.render(from, shown.rendered, std::vector<Levels>(3, {low, high}));
        shown.finish();
    }
};

template <class Frame>
struct Road;
template <>
struct Road<ChannelFrame> : PeerChannelFrame {
    using PeerChannelFrame::PeerChannelFrame;
};
template <>
struct Road<SpectralFrame> : PeerSpectralFrame {
    using PeerSpectralFrame::PeerSpectralFrame;
};
template <>
struct Road<FloatFrame> : PeerFloatFrame {
    using PeerFloatFrame::PeerFloatFrame;
};

#endif

/// The whole frame beside the peer's road, and what the heap gives for one beyond what is kept.
template <class Frame, class Sample>
void add_frame(const std::string& name, Zoom zoom, const Sample* (*samples)(), uint64_t pixel) {
    add(name, [=](uint32_t edge) {
        const auto frame = std::make_shared<Frame>(edge, samples(), zoom);
        frame->run();
        Job job;
        job.bytes = uint64_t{edge} * edge * pixel;
        job.ours = [=] { frame->run(); };
#ifdef QMPIC_OPENCV
        job.peer = [peer = std::make_shared<Road<Frame>>(*frame)] { peer->run(); };
#endif
        return job;
    });
}

template <class Frame>
struct Step {
    const char* name;
    uint64_t pixel, window_pixel;  ///< bytes that it reads and writes
    void (*run)(Frame&);
};

template <class Frame, class Sample, size_t n>
void add_steps(const std::string& name, Zoom zoom, const Sample* (*samples)(),
               const Step<Frame> (&steps)[n]) {
    for (const Step<Frame>& step : steps)
        add(name + ":" + step.name, [=](uint32_t edge) {
            const auto frame = std::make_shared<Frame>(edge, samples(), zoom);
            frame->run();
            const uint64_t window = frame->shown.screen.edge;
            Job job;
            job.bytes = uint64_t{edge} * edge * step.pixel + window * window * step.window_pixel;
            job.ours = [=] { step.run(*frame); };
            return job;
        });
}

template <class Frame>
constexpr Step<Frame> kStretch{"stretch", 3, 3, [](Frame& frame) { frame.shown.stretch(); }};
template <class Frame>
constexpr Step<Frame> kMask{"mask", 0, 6, [](Frame& frame) { frame.shown.lay_mask(); }};

constexpr uint64_t kChannelBytes = 2 * ChannelFrame::kChannels;
constexpr uint64_t kSpectralBytes = 2 * SpectralFrame::kBands;
constexpr uint64_t kFloatBytes = 4 * FloatFrame::kChannels;
const uint16_t* channels() { return words(ChannelFrame::kChannels); }
const uint16_t* bands() { return words(SpectralFrame::kBands); }

const bool registered = add_family([] {
    using C = ChannelFrame;
    using S = SpectralFrame;
    using F = FloatFrame;
    add_frame<C>("frame/4x12/to_1024", kHalf, channels, kChannelBytes);
    add_steps<C>("frame/4x12/to_1024", kHalf, channels,
                 {{"count", kChannelBytes, 0, [](C& frame) { frame.count(); }},
                  {"levels", 0, 1, [](C& frame) { frame.find_levels(); }},
                  {"tables", 0, 1, [](C& frame) { frame.make_tables(); }},
                  {"render", kChannelBytes + 3, 0, [](C& frame) { frame.render(); }},
                  kStretch<C>,
                  kMask<C>});
    add_frame<C>("frame/4x12/to_1000", kBelowHalf, channels, kChannelBytes);
    add_steps<C>("frame/4x12/to_1000", kBelowHalf, channels, {kStretch<C>});
    add_frame<S>("frame/32x12", kBelowHalf, bands, kSpectralBytes);
    add_steps<S>("frame/32x12", kBelowHalf, bands,
                 {{"levels", kSpectralBytes, 0, [](S& frame) { frame.find_levels(); }},
                  {"tables", 0, 1, [](S& frame) { frame.make_tables(); }},
                  {"render", kSpectralBytes + 3, 0, [](S& frame) { frame.render(); }}});
    add_frame<F>("frame/float", kBelowHalf, floats, kFloatBytes);
    add_steps<F>("frame/float", kBelowHalf, floats,
                 {{"levels", kFloatBytes, 0, [](F& frame) { frame.find_levels(); }},
                  {"tables", 0, 1, [](F& frame) { frame.make_tables(); }},
                  {"render", kFloatBytes + 3, 0, [](F& frame) { frame.render(); }}});
});

/// Slow waves, so that the two ways to reduce differ by what they round and not by what they weigh.
std::vector<uint16_t> waves(uint32_t edge) {
    std::vector<uint16_t> samples;
    for (uint32_t y = 0; y < edge; ++y)
        for (uint32_t x = 0; x < edge; ++x)
            for (uint32_t c = 0; c < ChannelFrame::kChannels; ++c)
                samples.push_back(static_cast<uint16_t>(
                    2000 + 1900 * std::sin(x / (320.0 + 60 * c)) * std::cos(y / (400.0 - 40 * c))));
    return samples;
}

}  // namespace

int check_frames() {
    int failures = 0;
    const auto samples = waves(kMost);
    for (const Zoom zoom : {kHalf, kBelowHalf}) {
        ChannelFrame frame(kMost, samples.data(), zoom);
        frame.run();
        const test::PeakMemory memory;
        frame.run();
        std::printf("frame/4x12 to %u: %.2f MB of the heap at most, beyond what is kept\n",
                    zoom.of_2048, static_cast<double>(memory.bytes()) / 1e6);
#ifdef QMPIC_OPENCV
        Road<ChannelFrame> peer(frame);
        peer.run();
        const auto& ours = frame.shown.screen.pixels;
        std::array<uint64_t, 256> apart{};
        for (size_t i = 0; i < ours.size(); ++i)
            ++apart[static_cast<size_t>(std::abs(ours[i] - peer.shown.screen.data[i]))];
        const double near = static_cast<double>(apart[0] + apart[1]);
        const bool agree = near >= 0.999 * static_cast<double>(ours.size()) &&
                           std::all_of(apart.begin() + 4, apart.end(), [](auto n) { return !n; });
        std::printf("frame/4x12 to %u: %.3f %% of samples at most 1 apart from the peer's%s\n",
                    zoom.of_2048, 100 * near / static_cast<double>(ours.size()),
                    agree ? "" : ", which is NOT what is asked");
        failures += !agree;
#endif
    }
    return failures;
}

}  // namespace qmpic::bench
