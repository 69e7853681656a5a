#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qmpic/qmpic.h"
#include "support.h"

/// One displayed frame, end to end: what a viewer does for each picture that a camera sends. The
/// records are kept from frame to frame, as a viewer keeps them.

namespace qmpic::bench {

/// A window of three bytes a pixel, and the mask that is laid over it.
struct Screen {
    uint32_t edge;
    std::vector<uint8_t> pixels, mask;
    explicit Screen(uint32_t edge_);
    uint32_t stride() const { return edge * 3; }
    uint32_t mask_stride() const { return (edge + 7) / 8; }
};

/// How wide the screen is on which a picture of 2048 is shown.
struct Zoom {
    uint32_t of_2048;
    uint32_t edge(uint32_t source) const { return std::max(source * of_2048 / 2048, 1u); }
};
inline constexpr Zoom kHalf{1024};       // exactly 2: the triangle
inline constexpr Zoom kBelowHalf{1000};  // more than 2: blocks

/// What follows every rendering.
struct Shown {
    uint32_t edge;
    std::vector<uint8_t> rendered;
    Screen screen;
    Shown(uint32_t source_edge, Zoom zoom)
        : edge(source_edge),
          rendered(size_t{source_edge} * source_edge * 3),
          screen(zoom.edge(source_edge)) {}
    void stretch();
    void lay_mask();
};

inline constexpr double kCut = 0.1;                // percent at either end
inline constexpr uint32_t kMaskColour = 0x00FFFF;  // yellow
inline constexpr uint8_t kMaskAlpha = 96;

/// Four interleaved channels of 12 bits.
struct ChannelFrame {
    static constexpr uint32_t kChannels = 4, kBits = 12;
    /// Colour references: the last one meets all others.
    static constexpr uint32_t kColours[kChannels] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    SQmPicBuf picture;
    SQmHisto histo;
    CQmLutParamMCH levels;
    SQmLut lut;
    Shown shown;

    ChannelFrame(uint32_t edge, const uint16_t* samples, Zoom zoom);
    ~ChannelFrame();
    ChannelFrame(const ChannelFrame&) = delete;
    ChannelFrame& operator=(const ChannelFrame&) = delete;
    void count();
    void find_levels();
    void make_tables();
    void render();
    void run();
};

/// 32 bands of 12 bits.
struct SpectralFrame {
    static constexpr uint32_t kBands = 32, kBits = 12;
    SQmPicBuf picture;
    std::vector<uint32_t> colours;
    CQmLutParamSpectralTrueColor levels;
    SQmLut lut;
    Shown shown;

    SpectralFrame(uint32_t edge, const uint16_t* samples, Zoom zoom);
    void find_levels();
    void make_tables();
    void render();
    void run();
};

/// Three channels of floats.
struct FloatFrame {
    static constexpr uint32_t kChannels = 3;
    uint32_t edge;
    const float* samples;
    SQmLutParam levels;
    SQmLut lut;
    std::vector<CQmRangeBase<float>> ranges;
    Shown shown;

    FloatFrame(uint32_t edge, const float* samples, Zoom zoom);
    void find_levels();
    void make_tables();
    void render();
    void run();
};

/// Does the peer's road lead to the same frame? Prints that, and the memory of a frame. Tells how
/// many comparisons failed.
int check_frames();

}  // namespace qmpic::bench
