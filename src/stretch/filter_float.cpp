#include "core/shapes.h"
#include "qmpic/status.h"
#include "stretch/filter.h"
#include "stretch/filter_axes.h"
#include "stretch/strip.h"

namespace qmpic {
namespace {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

constexpr float kOnePart = 0.0009765625f;  // 1 / 1024

/// Lists for floats: a sum in single precision is that of its order, so that samples which stand
/// for others beyond an edge come as often as those would, and weights of 0 are multiplied, too.
class FloatLists {
  public:
    struct List {
        int64_t first;
        uint32_t count;
        const float* weights;
    };

    explicit FloatLists(const Contributions& lists) : lists_(lists), weights_(lists.weights()) {
        if (!weights_) return;
        for (size_t k = 0; k < lists.weights(); ++k)
            weights_[k] = static_cast<float>(lists[0].weights[k]);
    }
    explicit operator bool() const { return static_cast<bool>(weights_); }

    uint32_t size() const { return lists_.size(); }
    List operator[](uint64_t i) const {
        const Contributions::List list = lists_[i];
        return {list.first, list.count, weights_.get() + (list.weights - lists_[0].weights)};
    }
    uint64_t sample(int64_t j) const { return static_cast<uint64_t>(lists_.sample(j)); }
    /// None of its samples stands for another.
    bool is_inside(const List& list) const {
        return lists_.sample(list.first) == list.first &&
               lists_.sample(list.first + list.count - 1) == list.first + list.count - 1;
    }
    /// The samples that a list reads.
    BandRows range(uint64_t i) const {
        const List list = (*this)[i];
        const uint64_t first = sample(list.first);
        return {first, sample(list.first + list.count - 1) - first + 1};
    }

  private:
    const Contributions& lists_;
    Scratch<float> weights_;
};

/// The taps of a list that lies within its line.
struct Inside {
    uint64_t first;
    uint64_t operator()(uint32_t k) const { return first + k; }
};
/// Those of one that does not.
struct Clamped {
    const FloatLists* lists;
    int64_t first;
    uint64_t operator()(uint32_t k) const { return lists->sample(first + k); }
};

template <class Place, uint32_t known_components>
void filter_pixel(Sample<float>* d, const Sample<float>* s, const FloatLists::List& list,
                  Place place, Count<known_components> components) {
    const uint64_t n = components();
    for (uint64_t c = 0; c < n; ++c) {
        float sum = 0;
        for (uint32_t k = 0; k < list.count; ++k) sum += list.weights[k] * s[place(k) * n + c];
        d[c] = sum * kOnePart;
    }
}

template <uint32_t known_components>
void filter_pixels(Sample<float>* d, const Sample<float>* s, const FloatLists& columns,
                   Count<known_components> components) {
    for (uint64_t i = 0; i < columns.size(); ++i, d += components()) {
        const FloatLists::List list = columns[i];
        if (columns.is_inside(list))
            filter_pixel(d, s, list, Inside{static_cast<uint64_t>(list.first)}, components);
        else
            filter_pixel(d, s, list, Clamped{&columns, list.first}, components);
    }
}

/// `rows` are those of the range of the list.
template <uint64_t block>
void filter_columns(Sample<float>* d, const float* const* rows, const FloatLists& lists, uint64_t y,
                    uint64_t at, uint64_t samples) {
    const FloatLists::List list = lists[y];
    const uint64_t top = lists.sample(list.first);
    float sum[block] = {};
    for (uint32_t k = 0; k < list.count; ++k) {
        const float* const row = rows[lists.sample(list.first + k) - top] + at;
        for (uint64_t j = 0; j < block; ++j) sum[j] += list.weights[k] * row[j];
    }
    for (uint64_t j = 0; j < block; ++j) sum[j] *= kOnePart;
    if (samples >= block)
        for (uint64_t j = 0; j < block; ++j) d[at + j] = sum[j];
    else
        for (uint64_t j = 0; j < samples; ++j) d[at + j] = sum[j];
}

/// The band is single rows here.
struct FloatPass {
    FloatDst dst;
    FloatSrc src;
    uint32_t components;
    const FloatLists *columns, *lists;

    uint64_t samples() const { return uint64_t{columns->size()} * components; }
    BandRows rows(uint64_t y) const { return lists->range(y); }
    void make(float* band, uint64_t y) const {
        filter_line<float>(reinterpret_cast<Sample<float>*>(band), src.row(y));
    }
    void finish(uint64_t y, const float* const* band) const { finish_row<float>(y, band); }

    static constexpr uint64_t kBlock = 32;  ///< samples of the band that are read at a time

  private:
    template <class T>
    void filter_line(Sample<T>* d, const Sample<T>* s) const {
        on_best_isa([=, pass = *this] {
            if (pass.components == 1)
                filter_pixels(d, s, *pass.columns, Count<1>{});
            else if (pass.components == 3)
                filter_pixels(d, s, *pass.columns, Count<3>{});
            else
                filter_pixels(d, s, *pass.columns, Count<0>{pass.components});
        });
    }
    template <class T>
    void finish_row(uint64_t y, const T* const* band) const {
        on_best_isa([=, pass = *this] {
            const uint64_t count = pass.samples();
            for (uint64_t x = 0; x < count; x += kBlock)
                filter_columns<kBlock>(pass.dst.row(y), band, *pass.lists, y, x, count - x);
        });
    }
};

uint64_t tallest(const FloatLists& rows) {
    uint64_t most = 0;
    for (uint64_t y = 0; y < rows.size(); ++y) most = std::max(most, rows.range(y).count);
    return most;
}

}  // namespace

int stretch_filtered(FloatDst dst, FloatSrc src, uint32_t components, const StretchWindow& window,
                     Mode mode) {
    if (window.width == 0 || window.height == 0 || components == 0) return QM_OK;
    if (band_height(window, mode) <= 0) return QM_NO_MEMORY;
    const Contributions along(horizontal_axis(window), mode, kPictureWeights),
        down(vertical_axis(window), mode, kPictureWeights);
    if (!along || !down) return QM_NO_MEMORY;
    const FloatLists columns(along), rows(down);
    if (!columns || !rows) return QM_NO_MEMORY;
    const FloatPass pass{dst, src, components, &columns, &rows};
    const uint64_t block = FloatPass::kBlock,
                   words = (pass.samples() + block - 1) / block * block;
    const Strips<float> strips(window.height, words, tallest(rows));
    if (!strips) return QM_NO_MEMORY;
    strips.clear_behind(pass.samples());
    in_team(kTeam, [&](Member member) {
        strips.walk(member.index, member.share(window.height), window.flip_y, pass);
    });
    return QM_OK;
}

}  // namespace qmpic
