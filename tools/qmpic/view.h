#pragma once

#include <qmpic/qmpic.h>

#include <cstdint>
#include <string>
#include <vector>

#include "lists.h"

namespace tool {

/// How a picture is shown: which components in which colours, and the display parameters, whose
/// `uiLutComponentCount` is the number of components of the picture.
struct View {
    struct Channel {
        std::uint32_t component;
        Colour colour;
    };
    std::vector<Channel> channels;
    SQmLutParam params;
};

/// `levels.low` and below is black, `levels.high` and above the full colour, and between them
/// ((value - low) / (high - low))^gamma of it, for samples of `bits` bits. Above the top of the
/// depth `levels.high` is never reached: then the highest output is that of the top.
void set_levels(View& view, std::uint32_t component, unsigned bits, Range levels, double gamma);

/// What marks saturated samples (the top value of the depth) and samples that are 0: 0 for nothing.
/// The fourth byte of a colour, if it is not 0, asks for the inverse of the component's own colour.
struct Marks {
    Colour over = 0, under = 0;
};

constexpr Colour kInverse = 0xFF000000;

/// Fills `lut` for a picture of `bits` bits.
void make_tables(SQmLut& lut, View& view, unsigned bits, const Marks& marks);

/// Throws Failure that begins with `what` unless a status of the library is QM_OK, and
/// std::bad_alloc when there was no memory.
void check(int status, const char* what);
/// Fills the colours of exposure of a set that has tables or records and its mask.
void set_marks(SQmLut& lut, const Marks& marks);

/// As docs/stored-form.md describes it. Both throw Failure that names the file.
void save_view(const std::string& path, const View& view);
View load_view(const std::string& path);

}  // namespace tool
