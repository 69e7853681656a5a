#include "spectrum.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>

#include "failure.h"
#include "view.h"

namespace tool {

namespace {

constexpr double kLongest = 1e6;  // nm

std::optional<double> length(std::string text) {
    while (!text.empty() && std::strchr(" \t\r", text.back())) text.pop_back();
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || at != end || !(std::abs(value) <= kLongest)) return std::nullopt;
    return value;
}

std::vector<double> lengths_of(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw Failure(path + ": " + std::strerror(errno));
    std::vector<double> listed;
    for (std::string line; std::getline(file, line);) {
        const std::optional<double> value = length(line);
        if (!value || listed.size() == CQmRangeMask::MaxSize)
            throw Failure(path + ": not a wavelength a line, of at most 192");
        listed.push_back(*value);
    }
    if (file.bad()) throw Failure(path + ": " + std::strerror(errno));
    if (listed.empty()) throw Failure(path + ": it holds no wavelengths");
    return listed;
}

}  // namespace

Spectrum::Spectrum(const std::string& option, const std::string& text)
    : option_(option), text_(text) {
    const std::size_t colon = text.find(':');
    const auto start = length(text.substr(0, colon));
    const auto step = length(colon == text.npos ? "" : text.substr(colon + 1));
    if (start && step && *start > 0 && *step != 0) {
        start_ = *start;
        step_ = *step;
    } else if (start || step) {
        throw WrongUsage(option + ": '" + text + "' is not START:STEP in nanometres");
    } else {
        listed_ = lengths_of(text);
    }
}

std::vector<Colour> Spectrum::colours(std::uint32_t components) const {
    if (listed_ && listed_->size() != components)
        throw Failure(text_ + ": " + std::to_string(listed_->size()) + " wavelengths for " +
                      std::to_string(components) + " components");
    std::vector<Colour> colours(components, 0);
    bool seen = false;
    for (std::uint32_t c = 0; c < components; ++c)
        seen |= QM_RGBFromWavelength(&colours[c], listed_ ? (*listed_)[c] : start_ + c * step_) ==
                QM_OK;
    if (!seen) throw WrongUsage(option_ + ": no component has light from 380 to 780 nm");
    return colours;
}

void make_spectral_tables(SQmLut& lut, const Picture& picture, std::vector<Colour> colours,
                          const std::optional<Percents>& left_out, double gamma) {
    const SQmPicBuf& record = picture.pixels.record();
    const std::uint32_t bands = picture.components();
    const std::vector<unsigned> sizes(bands, 1);
    const bool search = left_out.has_value();
    const Percents percents = left_out.value_or(Percents{0, 0});
    CQmLutParamSpectralTrueColor params(bands, bands, bands, sizes.data(), record.uiBpc);
    check(SQmPicBufAPI_Base::GetAutoContrastSpectralTrueColor(
              &params, colours.data(), &record, search, search, percents.low, percents.high),
          "no levels");
    // What was measured is the sum divided by the number of bands, on a scale of 0 to 255; an
    // offset is one of samples.
    params.SetOffset(0, params.GetOffset(0) * top_of(record.uiBpc) / 255);
    params.dGamma = gamma;
    check(SQmPicBufAPI_Base::CreateLutsSpectralTrueColor(&lut, &params, colours.data(), bands),
          "no tables");
}

}  // namespace tool
