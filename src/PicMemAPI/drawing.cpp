#include "qmpic/kernels/drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Lines into raw memory, pixels around a point, and the distance of a point from a segment.

namespace {

using namespace qmpic;

// ----- Lines -------------------------------------------------------------------------------------

struct Point {
    int32_t x, y;
};

struct Segment {
    Point first, second;
};

/// Columns and rows of a picture, both above 0.
struct Box {
    int32_t width, height;
};

/// dy / dx; 1 for a vertical segment.
double slope(Segment s) {
    if (s.first.x == s.second.x) return 1.0;
    return (static_cast<double>(s.second.y) - s.first.y) /
           (static_cast<double>(s.second.x) - s.first.x);
}

enum Side : uint32_t { kLeft = 1, kRight = 2, kBelow = 4, kAbove = 8 };

uint32_t sides(Point p, Box box) {
    return (p.x < 0 ? kLeft : 0u) | (p.x > box.width - 1 ? kRight : 0u) |
           (p.y > box.height - 1 ? kBelow : 0u) | (p.y < 0 ? kAbove : 0u);
}

/// Cohen and Sutherland. Crossings are computed from the first end as it stands, whichever end
/// moves, and with the slope of the whole segment. Nothing when none of it is inside.
std::optional<Segment> clipped(Segment s, Box box) {
    const double m = slope(s);
    const bool vertical = s.first.x == s.second.x;
    const double w = box.width, h = box.height;
    constexpr int kRounds = 8;  // four are enough
    for (int round = 0; round < kRounds; ++round) {
        const uint32_t first = sides(s.first, box), second = sides(s.second, box);
        if ((first & second) != 0) return {};
        const uint32_t any = first | second;
        if (any == 0) return s;
        const auto [x0, y0] = s.first;
        Point& upper = s.first.y < s.second.y ? s.first : s.second;
        Point& lower = s.first.y < s.second.y ? s.second : s.first;
        Point& left = s.first.x < s.second.x ? s.first : s.second;
        Point& right = s.first.x < s.second.x ? s.second : s.first;
        if ((any & kAbove) != 0)
            upper = {vertical ? upper.x : wrap_sub(x0, trunc_i32(y0 / m)), 0};
        else if ((any & kBelow) != 0)
            lower = {vertical ? lower.x : wrap_add(x0, trunc_i32((h - y0 - 1) / m)),
                     box.height - 1};
        else if ((any & kRight) != 0)
            right = {box.width - 1, wrap_add(y0, trunc_i32((w - x0 - 1) * m))};
        else
            left = {0, wrap_sub(y0, trunc_i32(x0 * m))};
    }
    return {};
}

/// y = m * x + b.
struct StraightLine {
    double m, b;
    double x_at(double y) const { return (y - b) / m; }
    double y_at(double x) const { return x * m + b; }
};

struct Ends {
    double x0, y0, x1, y1;
};

/// The first two different places where a line crosses the border of a box.
std::optional<Ends> crossings(StraightLine line, double right, double bottom) {
    const std::pair<double, double> candidates[] = {{line.x_at(0), 0},
                                                    {0, line.y_at(0)},
                                                    {right, line.y_at(right)},
                                                    {line.x_at(bottom), bottom}};
    const std::pair<double, double>* first = nullptr;
    for (const auto& at : candidates) {
        if (!(at.first >= 0 && at.first <= right && at.second >= 0 && at.second <= bottom))
            continue;
        if (first == nullptr)
            first = &at;
        else if (at != *first)
            return Ends{first->first, first->second, at.first, at.second};
    }
    return {};
}

template <uint32_t components>
class Pen {
  public:
    Pen(Dst dst, uint32_t color) : first_(dst.row<uint8_t>(0)), stride_(dst.stride) {
        for (uint32_t c = 0; c < components; ++c)
            cells_[c] = static_cast<uint8_t>(color >> 8 * (components - 1 - c));
    }
    void set(int32_t x, int32_t y) const {
        Sample<uint8_t>* const pixel = first_ + static_cast<uint32_t>(y) * stride_ +
                                       uint64_t{static_cast<uint32_t>(x)} * components;
        for (uint32_t c = 0; c < components; ++c) pixel[c] = cells_[c];
    }

  private:
    Sample<uint8_t>* first_;
    uint64_t stride_;
    uint8_t cells_[components];
};

/// The same with the axes exchanged, so that a line that is steep is none.
template <bool exchanged, class Pen>
void set(const Pen& pen, int32_t along, int32_t across) {
    if (exchanged)
        pen.set(across, along);
    else
        pen.set(along, across);
}

/// A line that is neither horizontal nor vertical, one pixel for each step along the faster axis.
/// Left out are steps beyond the clipped ends, and what is computed to lie outside of the box.
template <bool steep, bool four_connected, class Pen>
void draw_steps(const Pen& pen, StraightLine line, double from, double to,
                std::pair<int32_t, int32_t> ends, double limit) {
    int32_t last = -100, last_across = -100;
    for (int32_t at = std::max(trunc_i32(from), ends.first); at < to && at <= ends.second; ++at) {
        const double exact = steep ? line.x_at(at) : line.y_at(at);
        if (!(exact >= 0 && exact <= limit)) continue;
        const auto across = static_cast<int32_t>(exact + 0.5);  // fits: the limit is a picture's
        if (four_connected) {  // the pixel itself once more where there is none beside it
            const bool diagonal = at == last + 1 && std::abs(across - last_across) == 1;
            set<steep>(pen, diagonal ? last : at, across);
            last = at, last_across = across;
        }
        set<steep>(pen, at, across);
    }
}

template <bool four_connected, class Pen>
void draw_sloped(const Pen& pen, Segment s, Box box) {
    const double m = slope(s);
    const StraightLine line{m, s.first.y - m * s.first.x};
    const double right = box.width - 0.01, bottom = box.height - 0.01;
    const std::optional<Ends> ends = crossings(line, right, bottom);
    if (!ends) return;
    if (std::fabs(m) > 1)
        draw_steps<true, four_connected>(pen, line, std::min(ends->y0, ends->y1),
                                         std::max(ends->y0, ends->y1),
                                         std::minmax({s.first.y, s.second.y}), right);
    else
        draw_steps<false, four_connected>(pen, line, std::min(ends->x0, ends->x1),
                                          std::max(ends->x0, ends->x1),
                                          std::minmax({s.first.x, s.second.x}), bottom);
}

template <class Pen>
void draw(const Pen& pen, Segment s, Box box, bool four_connected) {
    pen.set(s.first.x, s.first.y);
    pen.set(s.second.x, s.second.y);
    if (s.first.x == s.second.x) {
        const auto [low, high] = std::minmax({s.first.y, s.second.y});
        for (int32_t y = low; y <= high; ++y) pen.set(s.first.x, y);
    } else if (s.first.y == s.second.y) {
        const auto [low, high] = std::minmax({s.first.x, s.second.x});
        for (int32_t x = low; x <= high; ++x) pen.set(x, s.first.y);
    } else if (four_connected) {
        draw_sloped<true>(pen, s, box);
    } else {
        draw_sloped<false>(pen, s, box);
    }
}

// ----- Squares -----------------------------------------------------------------------------------

/// From `at` - `radius` up to, but not including, the smaller of `at` + `radius` and the last of
/// `count`.
struct Span {
    uint64_t first, end;
    Span(uint64_t at, uint64_t radius, uint64_t count)
        : first(at > radius ? at - radius : 0), end(std::min(count - 1, at + radius)) {}
    uint64_t size() const { return end > first ? end - first : 0; }
};

// ----- Distances ---------------------------------------------------------------------------------

/// Closer than that, coordinates are equal.
constexpr double kSame = 1e-10;

double length(double x, double y) { return std::sqrt(x * x + y * y); }

}  // namespace

int CQmPicMemAPI_Base::Line(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                            uint32_t uiWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels,
                            int iX0, int iY0, int iX1, int iY1, int iConnectivity,
                            uint32_t uiColor) {
    if (uiBpc != 8 || (uiComponents != 1 && uiComponents != 3)) return QM_NO_KERNEL;
    const auto width = static_cast<int32_t>(uiWidth), size = static_cast<int32_t>(uiSizeInPixels);
    if (pData == nullptr || width < 1 || size < width) return QM_OK;
    const Box box{width, size / width};
    const std::optional<Segment> inside = clipped({{iX0, iY0}, {iX1, iY1}}, box);
    if (!inside) return QM_OK;
    const Dst dst{pData, uiWidthBytes};
    if (uiComponents == 1)
        draw(Pen<1>(dst, uiColor), *inside, box, iConnectivity != 8);
    else
        draw(Pen<3>(dst, uiColor), *inside, box, iConnectivity != 8);
    return QM_OK;
}

uint32_t CQmPicMemAPI_Base::GetDataInCircle(void* pDst, uint64_t ullDstBytes, const void* pSrc,
                                            uint32_t uiSrcWidthBytes, uint32_t uiBpc,
                                            uint32_t uiComponents, uint32_t uiWidth,
                                            uint64_t uiSizeInPixels, uint32_t uiRadius,
                                            uint32_t uiX, uint32_t uiY) {
    const uint64_t pixel = (uint64_t{uiBpc} + 7) / 8 * uiComponents;
    const uint64_t rows = Area::of_pixels(uiWidth, uiSizeInPixels).rows;
    if (pDst == nullptr || pSrc == nullptr || pixel == 0 || rows == 0) return 0;
    const Src src{pSrc, uiSrcWidthBytes};
    if (uiRadius == 0) {
        std::memmove(pDst, src.row<uint8_t>(uiY) + uiX * pixel, std::min(pixel, ullDstBytes));
        return 1;
    }
    const Span down(uiY, uiRadius, rows), across(uiX, uiRadius, uiWidth);
    const uint64_t line = across.size() * pixel;
    auto* d = static_cast<std::byte*>(pDst);
    uint64_t room = line != 0 ? ullDstBytes : 0;
    for (uint64_t y = down.first; y < down.end && room != 0; ++y) {
        const uint64_t bytes = std::min(line, room);
        std::memmove(d, src.row<uint8_t>(y) + across.first * pixel, bytes);
        d += bytes;
        room -= bytes;
    }
    return static_cast<uint32_t>(down.size() * across.size());
}

// The point is A + s * (dx, dy) and P + t * n at once, n being the unit normal.
double GetDistOfPointFromLine(const double* pdA, const double* pdB, const double* pdP) {
    const double dx = pdB[0] - pdA[0], dy = pdB[1] - pdA[1];
    const double ax = pdP[0] - pdA[0], ay = pdP[1] - pdA[1];
    const double along = length(dx, dy);
    const double nearer = std::min(length(pdP[0] - pdB[0], pdP[1] - pdB[1]), length(ax, ay));
    if (along >= -kSame && along <= kSame) return nearer;
    const double normal_x = dy / along, normal_y = -dx / along;
    const double t = (dx * ay - dy * ax) / ((dy * dy + dx * dx) / along);
    const double s = std::fabs(dy) <= kSame ? (ax + t * normal_x) / dx : (ay + t * normal_y) / dy;
    return s < 0 || s > 1 ? nearer : std::fabs(t);
}
