#include "view.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "failure.h"
#include "luts.h"
#include "new_file.h"
#include "picture.h"

namespace tool {

namespace {

constexpr double kFull = 65535;
constexpr std::uint32_t kMost = SQmLutParam::MaxComponents;
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr wchar_t kName[] = L"qmpic view";

std::uint16_t fraction_of(double part) {
    return static_cast<std::uint16_t>(std::lround(std::clamp(part, 0.0, 1.0) * kFull));
}

}  // namespace

void check(int status, const char* what) {
    if (status == QM_NO_MEMORY) throw std::bad_alloc();
    if (status != QM_OK) throw Failure(what + (": status " + std::to_string(status)));
}

// ----- Tables ------------------------------------------------------------------------------------

void set_levels(View& view, std::uint32_t component, unsigned bits, Range levels, double gamma) {
    const double top = top_of(bits), low = levels.low, high = levels.high;
    const auto set = [&](auto& to) {
        to.uiMinSrc = fraction_of(low / top);
        to.uiMaxSrc = fraction_of(high / top);
        to.uiMaxDst = fraction_of(high > top ? (top - low) / (high - low) : 1.0);
        to.dGammaSrc = gamma;
    };
    // Of a single component the library looks at the global levels only.
    if (view.params.uiLutComponentCount == 1)
        set(view.params);
    else
        set(view.params.sCompLutParam[component]);
}

void make_tables(SQmLut& lut, View& view, unsigned bits, const Marks& marks) {
    const std::uint32_t components = view.params.uiLutComponentCount;
    std::array<unsigned, kMost> colours{};
    for (const View::Channel& channel : view.channels) colours[channel.component] = channel.colour;
    check(
        components == 1
            ? SQmPicBufAPI_Base::CreateLutsMono(&lut, &view.params, bits, colours.data(), nullptr)
            : SQmPicBufAPI_Base::CreateLutsMCH(&lut, &view.params, bits, components, colours.data(),
                                               false, true, nullptr, nullptr, nullptr),
        "no tables");
    lut.rmComponents = CQmRangeMask(kMost, 0, kMost - 1, 0);
    for (const View::Channel& channel : view.channels) lut.rmComponents.Set(channel.component);
    set_marks(lut, marks);
}

void set_marks(SQmLut& lut, const Marks& marks) {
    std::array<unsigned, kMost> colours{};
    if (marks.over != 0) {
        colours.fill(marks.over);
        check(SQmLut::SetOverExpColor(lut, colours.data()), "no marks");
    }
    if (marks.under != 0) {
        colours.fill(marks.under);
        check(SQmLut::SetUnderExpColor(lut, colours.data()), "no marks");
    }
}

// ----- Saving ------------------------------------------------------------------------------------

void save_view(const std::string& path, const View& view) {
    CQmListVariant channels, all;
    for (const View::Channel& channel : view.channels) {
        CQmListVariant one;
        one.Append({channel.component, L"component"});
        one.Append({channel.colour, L"color"});
        channels.Append({one, L""});
    }
    CQmVariant params;
    check(SQmLutParam::SaveToVariant(params, view.params), "no view");
    params.SetName(L"SQmLutParam");
    all.Append({kVersion, L"version"});
    all.Append({view.params.bFloat, L"bFloat"});
    all.Append({static_cast<double>(view.params.fMinSrc), L"fMinSrc"});
    all.Append({static_cast<double>(view.params.fMaxSrc), L"fMaxSrc"});
    all.Append({channels, L"channels"});
    all.Append(params);
    std::vector<std::uint8_t> bytes;
    check(CQmVariant(all, kName).Write(bytes), "no view");

    NewFile made(path);
    if (std::fwrite(bytes.data(), 1, bytes.size(), made.file()) != bytes.size()) made.fail();
    made.finish();
}

// ----- Loading -----------------------------------------------------------------------------------

namespace {

std::vector<std::uint8_t> bytes_of(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                               std::fclose);
    std::vector<std::uint8_t> bytes(kMostBytes + 1);
    if (file) bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (!file || std::ferror(file.get())) throw Failure(std::strerror(errno));
    if (bytes.size() > kMostBytes) throw Failure("not a view: too large");
    return bytes;
}

/// A child of this name, as `get` reads it.
template <class Get>
auto child_of(const CQmVariant& parent, const char* name, Get get) {
    const std::string text = name;
    const CQmVariant* const child =
        parent.SearchFixedOneLevel(std::wstring(text.begin(), text.end()));
    bool ok = child != nullptr;
    auto value = ok ? get(*child, &ok) : decltype(get(parent, &ok)){};
    if (!ok) throw Failure("not a view: '" + text + "' is missing or of another kind");
    return value;
}
std::uint32_t number(const CQmVariant& parent, const char* name) {
    return child_of(parent, name,
                    [](const CQmVariant& child, bool* ok) { return child.GetQm_uint32(ok); });
}
CQmListVariant list(const CQmVariant& parent, const char* name) {
    return child_of(parent, name,
                    [](const CQmVariant& child, bool* ok) { return child.GetCQmListVariant(ok); });
}
float level(const CQmVariant& parent, const char* name) {
    const double value = child_of(
        parent, name, [](const CQmVariant& child, bool* ok) { return child.GetDouble(ok); });
    if (!(std::abs(value) <= FLT_MAX)) throw Failure(std::string(name) + " is no level");
    return static_cast<float>(value);
}

void check_gamma(double gamma) {
    if (!(gamma > 0 && gamma <= DBL_MAX)) throw Failure("a gamma is not above 0");
}

View view_of(const CQmVariant& whole) {
    if (!(whole.GetName() == CQmStringW(kName))) throw Failure("not a view: of another name");
    const std::uint32_t version = number(whole, "version");
    if (version != kVersion)
        throw Failure("a view of version " + std::to_string(version) + ", which is not known");
    View view;
    const CQmListVariant params = list(whole, "SQmLutParam");
    check(SQmLutParam::LoadFromVariant(view.params, CQmVariant(params, L"")), "not a view");
    view.params.bFloat = child_of(
        whole, "bFloat", [](const CQmVariant& child, bool* ok) { return child.GetBool(ok); });
    if (view.params.bFloat) throw Failure("a view of a picture of floats");
    view.params.fMinSrc = level(whole, "fMinSrc");
    view.params.fMaxSrc = level(whole, "fMaxSrc");

    const std::uint32_t components = view.params.uiLutComponentCount;
    if (components == 0 || components > kMost)
        throw Failure("a view of " + std::to_string(components) + " components");
    if (view.params.uiGradient >= lut_count())
        throw Failure("there is no colour table " + std::to_string(view.params.uiGradient));
    check_gamma(view.params.dGammaSrc);

    const CQmListVariant channels = list(whole, "channels");
    if (channels.GetCount() == 0 || channels.GetCount() > components)
        throw Failure(std::to_string(channels.GetCount()) + " channels of " +
                      std::to_string(components) + " components");
    std::array<bool, kMost> shown{};
    for (std::uint32_t i = 0; i < channels.GetCount(); ++i) {
        const View::Channel channel{number(channels[i], "component"), number(channels[i], "color")};
        if (channel.component >= components || shown[channel.component] ||
            channel.colour > 0xFFFFFF)
            throw Failure("channel " + std::to_string(i) + " makes no sense");
        shown[channel.component] = true;
        check_gamma(view.params.GetGammaSrc(channel.component));
        view.channels.push_back(channel);
    }
    return view;
}

}  // namespace

View load_view(const std::string& path) {
    try {
        const std::vector<std::uint8_t> bytes = bytes_of(path);
        CQmVariant whole;
        const int status = CQmVariant::Read(whole, bytes.data(), bytes.size());
        if (status == QM_NO_MEMORY) throw std::bad_alloc();
        if (status != QM_OK) throw Failure("not a view");
        return view_of(whole);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
}

}  // namespace tool
