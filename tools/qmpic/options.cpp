#include "options.h"

#include <filesystem>

#include "failure.h"

namespace tool {

void add_picture(CLI::App& app, Wanted& wanted) {
    app.add_option("FILE", wanted.path, "TIFF, PNG, PGM or PPM")->required();
    app.add_option("--page", wanted.page, "Page of a TIFF, from 0")->type_name("K");
    app.add_option("--max-pixels", wanted.max_pixels,
                   "Refuse larger pictures (pixels x components)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->type_name("N");
}

void add_bits(CLI::App& app, std::optional<unsigned>& bits) {
    app.add_option("--bits", bits, "Significant bits (else from the file or its maximum)")
        ->type_name("N");
}

void add_output(CLI::App& app, std::string& output) {
    app.add_option("-o,--output", output, "PNG file to write")->required()->type_name("OUT.png");
}

void check_output(const char* option, const Wanted& wanted, const std::string& output) {
    std::error_code ignored;
    if (std::filesystem::equivalent(wanted.path, output, ignored))
        throw WrongUsage(std::string(option) + ": it would replace the picture that is read");
}

void check_component(const char* option, std::uint32_t component, const Picture& picture) {
    if (component >= picture.components())
        throw WrongUsage(std::string(option) + ": no component " + std::to_string(component) +
                         ": the last is " + std::to_string(picture.components() - 1));
}

}  // namespace tool
