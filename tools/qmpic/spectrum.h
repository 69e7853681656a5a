#pragma once

#include <qmpic/qmpic.h>

#include <optional>
#include <string>
#include <vector>

#include "lists.h"
#include "picture.h"

namespace tool {

/// The light that each component of a picture stands for, in nanometres.
class Spectrum {
  public:
    /// START:STEP: component i is START + i STEP. Otherwise a file with a wavelength a line, as
    /// many as the picture has components. Throws WrongUsage that names `option`, or Failure that
    /// names the file.
    Spectrum(const std::string& option, const std::string& text);

    /// Colours of light; black outside of 380 to 780 nm. Throws when none is seen.
    std::vector<Colour> colours(std::uint32_t components) const;

  private:
    std::string option_, text_;
    double start_ = 0, step_ = 0;
    std::optional<std::vector<double>> listed_;
};

/// Fills `lut` so that the picture's bands are summed in these colours, black ones not at all.
/// Black and gain are found from the sums, of which so many percent are left out; without percents
/// black is 0, and the gain brings the greatest sum to white. It is the same for all colours.
void make_spectral_tables(SQmLut& lut, const Picture& picture, std::vector<Colour> colours,
                          const std::optional<Percents>& left_out, double gamma);

}  // namespace tool
