// Included by a file for each level, inside a namespace of its own, with QM_TARGET_COLUMNS and a
// Vector that says how wide it is: the second pass, for rows of any length.

/// `samples` are those that are stored.
template <class T, bool whole>
[[QM_TARGET_COLUMNS, gnu::always_inline]] inline void filter_block(Sample<T>* row,
                                                                   const uint32_t* const* pairs,
                                                                   const uint32_t* weights,
                                                                   uint32_t count, uint64_t at,
                                                                   uint64_t samples) {
    using V = Vector;
    V::Reg sum[4];
    for (uint64_t j = 0; j < 4; ++j)
        sum[j] = V::products(V::load(pairs[0] + at + j * V::kWords), V::all(weights[0]));
    for (uint32_t k = 1; k < count; ++k) {
        const V::Reg weight = V::all(weights[k]);
        for (uint64_t j = 0; j < 4; ++j)
            sum[j] = V::add(sum[j], V::products(V::load(pairs[k] + at + j * V::kWords), weight));
    }
    if constexpr (whole) {
        V::store(row + at, sum);
    } else {
        Sample<T> last[4 * V::kWords];
        V::store(last, sum);
        std::memcpy(row + at, last, samples * sizeof(T));
    }
}

template <class T>
[[QM_TARGET_COLUMNS]] void filter_columns(Sample<T>* row, const uint32_t* const* pairs,
                                          const uint32_t* weights, uint32_t count,
                                          uint64_t samples) {
    constexpr uint64_t block = 4 * Vector::kWords;
    static_assert(kBandBlock % block == 0);
    uint64_t at = 0;
    for (; at + block <= samples; at += block)
        filter_block<T, true>(row, pairs, weights, count, at, block);
    if (at < samples) filter_block<T, false>(row, pairs, weights, count, at, samples - at);
}
