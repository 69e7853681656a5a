#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "picture.h"

namespace tool {

/// What to read of a file.
struct Wanted {
    std::string path;
    std::optional<std::uint32_t> page;       ///< of a TIFF; without it see read()
    std::uint64_t max_pixels = 500'000'000;  ///< all components counted
    bool floats = false;                     ///< are floats of 32 bits wanted, too?
    bool deep = false;                       ///< and whole numbers of 32 bits?
};

/// Reads a TIFF, PNG, PGM or PPM file, told by its first bytes. Of several pages of a TIFF those
/// that are channels become components: as OME-XML says, else when there are two to seven of the
/// same size and kind with one component each. Otherwise it is the first page.
Picture read(const Wanted& wanted);

/// The readers behind it. Each throws Failure with what is wrong, without the file's name.
Picture read_tiff(const Wanted& wanted);
Picture read_png(const Wanted& wanted);
Picture read_pnm(const Wanted& wanted);

/// Fails when a picture is empty, has too many components or is too large: for `wanted`, or for
/// counts of 32 bits.
void check_size(const Wanted& wanted, std::uint64_t width, std::uint64_t height,
                std::uint64_t components);

}  // namespace tool
