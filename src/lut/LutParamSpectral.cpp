#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <utility>

#include "typed_params.h"

// The three classes of spectral pictures. They differ in what stands in front of the further
// channels in the arrays of gains and offsets: one value for the whole spectral part, or one for
// each node or group, which then have colours, too. What they do is one body for the three.

using namespace qmpic::typed;
using qmpic::trunc_u32;

namespace {

using TrueColor = CQmLutParamSpectralTrueColor;
using CustomColor = CQmLutParamSpectralCustomColor;
using Grouped = CQmLutParamSpectralGrouped;

template <class P>
concept Colored = requires(P p) {
    p.puiColor;
};
template <class P>
concept Sized = requires(P p) {
    p.puiGroupSize;
};

// ----- What they differ in -----------------------------------------------------------------------

template <class P>
constexpr auto kName = L"CQmLutParamSpectralTrueColor";
template <>
constexpr auto kName<CustomColor> = L"CQmLutParamSpectralCustomColor";
template <>
constexpr auto kName<Grouped> = L"CQmLutParamSpectralGrouped";

// What is written as one class and read as another.
template <class P>
constexpr auto kWrittenName = kName<P>;
template <>
constexpr auto kWrittenName<Grouped> = kName<CustomColor>;

template <class P>
constexpr auto kNodeKey = L"m_uiNodeCount";
template <>
constexpr auto kNodeKey<Grouped> = L"m_uiGroupCount";

/// The number that only this class has.
template <class P>
auto& own_number(P& p) {
    if constexpr (Sized<P>)
        return p.m_uiGroupCount;
    else if constexpr (Colored<P>)
        return p.m_uiNodeCount;
    else
        return p.iGradient;
}

template <class P>
auto numbers(P& p) {
    return std::tie(p.m_uiBpc, p.m_uiSpectralChannelCount, p.m_uiChannelCount, p.m_uiCompCount,
                    p.dGamma, own_number(p));
}

template <class P>
auto arrays(P& p) {
    const auto all = std::tie(p.puiComp, p.pdOffset, p.pdGain);
    if constexpr (Sized<P>)
        return std::tuple_cat(all, std::tie(p.puiColor, p.puiGroupSize));
    else if constexpr (Colored<P>)
        return std::tuple_cat(all, std::tie(p.puiColor));
    else
        return all;
}

// ----- Counts ------------------------------------------------------------------------------------

/// Nodes or groups; 1 for the whole spectral part.
template <class P>
std::uint32_t nodes(const P& p) {
    if constexpr (Colored<P>)
        return own_number(p);
    else
        return 1;
}

constexpr std::uint32_t further(std::uint32_t channels, std::uint32_t spectral) {
    return channels > spectral ? channels - spectral : 0;
}
template <class P>
std::uint32_t further(const P& p) {
    return further(p.m_uiChannelCount, p.m_uiSpectralChannelCount);
}

/// Entries of the arrays of gains and offsets.
template <class P>
std::uint64_t values(const P& p) {
    return p.pdGain != nullptr ? std::uint64_t{nodes(p)} + further(p) : 0;
}
/// Entries of the arrays of colours and of the sizes of groups.
template <class P>
std::uint32_t colors(const P& p) {
    return p.puiColor != nullptr ? nodes(p) : 0;
}

template <class P>
std::uint32_t spectral_components(const P& p) {
    const auto sizes = sizes_of(p);
    const std::size_t channels = std::min<std::size_t>(sizes.size(), p.m_uiSpectralChannelCount);
    return static_cast<std::uint32_t>(sum(sizes.data(), static_cast<std::uint32_t>(channels)));
}

// ----- A record's life ---------------------------------------------------------------------------

template <class P>
void init(P& p) {
    const auto zero = [](auto&... field) { ((field = {}), ...); };
    std::apply(zero, numbers(p));
    std::apply(zero, arrays(p));
    p.dGamma = 1.0;
    if constexpr (!Colored<P>) p.iGradient = -1;
}

template <class P>
void release(P& p) {
    std::apply([](auto*... array) { (delete[] array, ...); }, arrays(p));
    init(p);
}

/// Arrays that are made for a record; those that are null leave what it has.
struct Arrays {
    Owned<std::uint32_t> comp, color, group_size;
    Owned<double> offset, gain;

    template <class P>
    void hand_over(P& p) {
        if (comp) put(p.puiComp, std::move(comp));
        if (offset) put(p.pdOffset, std::move(offset));
        if (gain) put(p.pdGain, std::move(gain));
        if constexpr (Colored<P>)
            if (color) put(p.puiColor, std::move(color));
        if constexpr (Sized<P>)
            if (group_size) put(p.puiGroupSize, std::move(group_size));
    }
};

/// `p` is new.
template <class P>
void copy(P& p, const P& other) {
    init(p);
    Arrays made;
    made.comp = copied(other.puiComp, other.m_uiChannelCount);
    made.offset = copied(other.pdOffset, values(other));
    made.gain = copied(other.pdGain, values(other));
    if constexpr (Colored<P>) made.color = copied(other.puiColor, nodes(other));
    if constexpr (Sized<P>) made.group_size = copied(other.puiGroupSize, nodes(other));
    made.hand_over(p);
    numbers(p) = numbers(other);
}

template <class P>
void exchange(P& p, P& other) {
    swap_fields(numbers(p), numbers(other));
    swap_fields(arrays(p), arrays(other));
}

template <class P>
void assign(P& p, const P& other) {
    P copy(other);
    exchange(p, copy);
}

struct Shape {
    std::uint32_t nodes;
    const std::uint32_t* group_sizes;
    std::uint32_t spectral, channels, comps;
    const std::uint32_t* sizes;
    std::uint32_t bpc;
};

template <class P>
int reinit(P& p, Shape to) {
    if (!can_be(to.bpc, to.sizes, to.channels, to.comps)) return QM_BAD_BUFFER;
    to.nodes = Colored<P> ? std::min(to.nodes, to.spectral) : 1;  // of channels, not components
    const std::uint32_t more = further(to.channels, to.spectral);

    Arrays made;
    if (p.puiComp == nullptr || to.comps != p.m_uiCompCount || to.channels != p.m_uiChannelCount)
        made.comp = copied(to.sizes, to.channels, 0u);
    if (p.pdGain == nullptr || more != further(p) || to.nodes != nodes(p)) {
        made.offset = filled(std::uint64_t{to.nodes} + more, 0.0);
        made.gain = filled(std::uint64_t{to.nodes} + more, 1.0);
        if constexpr (Colored<P>) made.color = filled(to.nodes, kWhite);
        if constexpr (Sized<P>) made.group_size = copied(to.group_sizes, to.nodes, 0u);
    }
    made.hand_over(p);
    p.m_uiBpc = to.bpc;
    p.m_uiSpectralChannelCount = to.spectral;
    p.m_uiChannelCount = to.channels;
    p.m_uiCompCount = to.comps;
    if constexpr (Colored<P>) own_number(p) = to.nodes;
    return QM_OK;
}

// ----- Content -----------------------------------------------------------------------------------

template <class P>
void set_unit(P& p) {
    std::fill_n(p.pdOffset, values(p), 0.0);
    std::fill_n(p.pdGain, values(p), 1.0);
    p.dGamma = 1.0;
}

template <class P>
bool is_unit(const P& p) {
    const auto all = [&](const double* array, double value) {
        return std::all_of(array, array + values(p), [=](double v) { return v == value; });
    };
    return p.dGamma == 1.0 && all(p.pdOffset, 0.0) && all(p.pdGain, 1.0);
}

template <class P>
bool compare(const P& p, const P& other) {
    const auto equal = [](const auto* one, const auto* two, std::uint64_t count) {
        return std::equal(one, one + count, two);
    };
    const auto counts = [](const P& of) {
        return std::tuple(of.m_uiBpc, nodes(of), of.m_uiSpectralChannelCount, of.m_uiChannelCount,
                          of.m_uiCompCount, values(of));
    };
    if (counts(p) != counts(other) || p.dGamma != other.dGamma) return false;
    if constexpr (Colored<P>)
        if (!equal(p.puiColor, other.puiColor, std::min(colors(p), colors(other)))) return false;
    return equal(p.pdOffset, other.pdOffset, values(p)) && equal(p.pdGain, other.pdGain, values(p));
}

template <class P>
double value_at(const P& p, const double* array, std::uint32_t i, double otherwise) {
    return i < values(p) ? array[i] : otherwise;
}
template <class P>
void set_value_at(const P& p, double* array, std::uint32_t i, double value) {
    if (i < values(p)) array[i] = value;
}

// ----- Stored form -------------------------------------------------------------------------------

template <class P>
void write(const P& p, Writing& writing) {
    writing.set(L"m_uiBpc", p.m_uiBpc);
    writing.set(L"m_uiChannelCount", p.m_uiChannelCount);
    if constexpr (Colored<P>) writing.set(kNodeKey<P>, nodes(p));
    writing.set(L"m_uiCompCount", p.m_uiCompCount);
    writing.numbers(L"puiComp", sizes_of(p), p.m_uiChannelCount);
    // The sizes of channels once more, as many as there are groups.
    if constexpr (Sized<P>) writing.numbers(L"puiComp", sizes_of(p), nodes(p));
    writing.set(L"m_uiSpectralChannelCount", p.m_uiSpectralChannelCount);
    writing.set(L"dGamma", p.dGamma);
    if constexpr (Sized<P>)
        writing.numbers(L"uiGroupSize", {p.puiGroupSize, colors(p)}, nodes(p));  // and no colours
    else if constexpr (Colored<P>)
        writing.numbers(L"uiColor", {p.puiColor, colors(p)}, nodes(p));
    writing.list(static_cast<std::uint32_t>(values(p)), [&](std::uint32_t i) {
        writing.set(L"dGain", p.pdGain[i]);
        writing.set(L"dOffset", p.pdOffset[i]);
    });
}

template <class P>
int read(P& p, Reading& reading) {
    Shape shape{};
    if constexpr (Colored<P>) shape.nodes = reading.number(kNodeKey<P>);
    shape.spectral = reading.number(L"m_uiSpectralChannelCount");
    shape.channels = reading.number(L"m_uiChannelCount");
    shape.comps = reading.number(L"m_uiComponentCount");  // not what is written
    shape.bpc = reading.number(L"m_uiBpc");
    if (std::max({shape.nodes, shape.spectral, shape.channels, shape.comps}) > kMostComponents)
        return QM_BAD_BUFFER;
    const Sizes sizes = reading.numbers(L"puiComp", shape.channels);
    shape.sizes = sizes.data();
    Sizes group_sizes{};
    if constexpr (Sized<P>) group_sizes = reading.numbers(L"uiGroupSize", shape.nodes);
    shape.group_sizes = group_sizes.data();
    if (!plausible(sizes) || !plausible(group_sizes)) return QM_BAD_BUFFER;

    const int code = reinit(p, shape);
    if (code != QM_OK) return code;
    p.dGamma = reading.get(L"dGamma", 1.0);
    if constexpr (Colored<P>)
        reading.list(nodes(p), [&](std::uint32_t i) {
            p.puiColor[i] = reading.get(L"uiColor", p.puiColor[i]);
        });
    reading.list(static_cast<std::uint32_t>(values(p)), [&](std::uint32_t i) {
        p.pdGain[i] = reading.get(L"Gain", 1.0);  // not what is written, either
        p.pdOffset[i] = reading.get(L"Offset", 0.0);
    });
    return QM_OK;
}

}  // namespace

// ----- What each of the three has ----------------------------------------------------------------

#define MEMBERS(P)                                                                                 \
    P::P() { Init(); }                                                                             \
    P::P(const P& other) { copy(*this, other); }                                                   \
    P& P::operator=(const P& other) {                                                              \
        if (this != &other) assign(*this, other);                                                  \
        return *this;                                                                              \
    }                                                                                              \
    P::~P() { Free(); }                                                                            \
    void P::Init() { init(*this); }                                                                \
    void P::Free() { release(*this); }                                                             \
    void P::SetUnit() { set_unit(*this); }                                                         \
    bool P::IsUnit() const { return is_unit(*this); }                                              \
    bool P::CompareWith(const P& other) const { return compare(*this, other); }                    \
    int P::SaveToLiteVariant(CQmLiteVariantW& w) const {                                           \
        return save(w, kWrittenName<P>, [&](Writing& writing) { write(*this, writing); });         \
    }                                                                                              \
    int P::LoadFromLiteVariant(CQmLiteVariantR& r) {                                               \
        return load(*this, r, kName<P>, exchange<P>, read<P>);                                     \
    }                                                                                              \
    unsigned int P::GetBpc() const { return m_uiBpc; }                                             \
    unsigned int P::GetSpectralChannelCount() const { return m_uiSpectralChannelCount; }           \
    unsigned int P::GetChannelCount() const { return m_uiChannelCount; }                           \
    unsigned int P::GetComponentCount() const { return m_uiCompCount; }                            \
    unsigned int P::GetSpectralComponentCount() const { return spectral_components(*this); }       \
    int P::GetComponentSizes(unsigned int** sizes) const { return hand_out(puiComp, sizes); }      \
    double P::GetGamma() const { return dGamma; }                                                  \
    double P::GetGain(unsigned int i) const { return value_at(*this, pdGain, i, 1.0); }            \
    double P::GetOffset(unsigned int i) const { return value_at(*this, pdOffset, i, 0.0); }        \
    void P::SetGain(unsigned int i, double d) { set_value_at(*this, pdGain, i, d); }               \
    void P::SetOffset(unsigned int i, double d) { set_value_at(*this, pdOffset, i, d); }

MEMBERS(CQmLutParamSpectralTrueColor)
MEMBERS(CQmLutParamSpectralCustomColor)
MEMBERS(CQmLutParamSpectralGrouped)

#define COLOR_MEMBERS(P)                                                                           \
    std::uint32_t P::GetColor(unsigned int i) const {                                              \
        return i < colors(*this) ? puiColor[i] : kWhite;                                           \
    }                                                                                              \
    void P::SetColor(unsigned int i, unsigned int color) {                                         \
        if (i < colors(*this)) puiColor[i] = color;                                                \
    }

COLOR_MEMBERS(CQmLutParamSpectralCustomColor)
COLOR_MEMBERS(CQmLutParamSpectralGrouped)

// ----- What one of them has ----------------------------------------------------------------------

CQmLutParamSpectralTrueColor::CQmLutParamSpectralTrueColor(unsigned int channels,
                                                           unsigned int spectralChannels,
                                                           unsigned int comps,
                                                           const unsigned int* sizes,
                                                           unsigned int bpc) {
    Init();
    Reinit(channels, spectralChannels, comps, sizes, bpc);
}

int CQmLutParamSpectralTrueColor::Reinit(unsigned int channels, unsigned int spectralChannels,
                                         unsigned int comps, const unsigned int* sizes,
                                         unsigned int bpc) {
    return reinit(*this, {1, nullptr, spectralChannels, channels, comps, sizes, bpc});
}

int CQmLutParamSpectralTrueColor::GetGradient() const { return iGradient; }
void CQmLutParamSpectralTrueColor::SetGradient(int gradient) { iGradient = gradient; }

CQmLutParamSpectralCustomColor::CQmLutParamSpectralCustomColor(
    unsigned int nodes, unsigned int spectralChannels, unsigned int channels, unsigned int comps,
    const unsigned int* sizes, unsigned int bpc) {
    Init();
    Reinit(nodes, spectralChannels, channels, comps, sizes, bpc);
}

int CQmLutParamSpectralCustomColor::Reinit(unsigned int nodes, unsigned int spectralChannels,
                                           unsigned int channels, unsigned int comps,
                                           const unsigned int* sizes, unsigned int bpc) {
    return reinit(*this, {nodes, nullptr, spectralChannels, channels, comps, sizes, bpc});
}

unsigned int CQmLutParamSpectralCustomColor::GetNodeCount() const { return m_uiNodeCount; }

int CQmLutParamSpectralCustomColor::GetCompColors(unsigned int* colors) const {
    if (colors == nullptr) return QM_BAD_BUFFER;
    const std::uint32_t count = GetSpectralComponentCount(), node_count = ::colors(*this);
    if (count == 0) return QM_OK;
    const auto byte_of = [&](std::uint32_t node, std::uint32_t shift) {
        return static_cast<double>(GetColor(node) >> shift & 0xFF);
    };
    const auto place_of = [&](std::uint64_t node) {
        return static_cast<std::uint32_t>(node * (count - 1) / (node_count - 1));
    };
    std::fill_n(colors, count, GetColor(0) & kWhite);  // all that one node says, or none
    for (std::uint32_t node = 0; node + 1 < node_count; ++node) {
        const std::uint32_t begin = place_of(node), end = place_of(node + 1);
        for (std::uint32_t x = begin; x < end; ++x) {
            colors[x] = 0;
            for (const std::uint32_t shift : {0u, 8u, 16u}) {
                const double from = byte_of(node, shift), to = byte_of(node + 1, shift);
                colors[x] |= trunc_u32((x - begin) * (1.0 / (end - begin)) * (to - from) + from)
                             << shift;
            }
        }
    }
    if (node_count > 1) colors[count - 1] = GetColor(node_count - 1) & kWhite;
    return QM_OK;
}

CQmLutParamSpectralGrouped::CQmLutParamSpectralGrouped(
    unsigned int groups, const unsigned int* groupSizes, unsigned int spectralChannels,
    unsigned int channels, unsigned int comps, const unsigned int* sizes, unsigned int bpc) {
    Init();
    Reinit(groups, groupSizes, spectralChannels, channels, comps, sizes, bpc);
}

int CQmLutParamSpectralGrouped::Reinit(unsigned int groups, const unsigned int* groupSizes,
                                       unsigned int spectralChannels, unsigned int channels,
                                       unsigned int comps, const unsigned int* sizes,
                                       unsigned int bpc) {
    return reinit(*this, {groups, groupSizes, spectralChannels, channels, comps, sizes, bpc});
}

unsigned int CQmLutParamSpectralGrouped::GetGroupCount() const { return m_uiGroupCount; }
int CQmLutParamSpectralGrouped::GetGroupSizes(unsigned int** sizes) const {
    return hand_out(puiGroupSize, sizes);
}
