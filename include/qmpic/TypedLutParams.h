#pragma once

#include <cstdint>

#include "qmpic/export.h"

class CQmLiteVariantR;
class CQmLiteVariantW;

/// @file
/// Display parameters of one kind of picture each. Levels are in sample units of `m_uiBpc` and not
/// fractions, and unlike SQmLutParam there is no lock: one thread at a time, or any number that
/// only read.
///
/// All five live alike. Fields are public; arrays come from `new[]` and belong to the record, which
/// releases them when it is destroyed. A record without arrays is empty, and every operation may be
/// called on it. Full is the top value of a depth, 2^bpc - 1.
///
/// - The constructor with arguments makes an empty record and calls `Reinit`; what that refuses
///   leaves it empty.
/// - `Init` sets everything to 0 **without releasing**: it is for memory that holds nothing yet.
///   `Free` releases and calls `Init`.
/// - `Reinit` gives QM_BAD_BUFFER for fewer than 8 bits, and when `comps` is not 0 and `sizes`, if
///   given, do not sum to it. The record then stays as it was. What levels and gains become is
///   said at each class. Sizes that are replaced without `sizes` are zeros.
/// - Channels, nodes and groups past the last: getters give what is neutral, setters do nothing.
/// - Pointers that `GetComponentSizes` and `GetGroupSizes` hand out lead to the record's own array,
///   until it changes; null for the place gives QM_BAD_BUFFER.
/// - When memory runs out, `std::bad_alloc` comes from constructors, assignments and `Reinit`, and
///   the record stays as it was.
///
/// `SaveToLiteVariant` writes a level named after the class: 0, QM_BAD_BUFFER when the writer
/// cannot open it, or QM_NO_MEMORY, and then not all of it. `LoadFromLiteVariant` looks for that
/// level: QM_BAD_BUFFER when there is none, when a count in it or the sum of the sizes is above
/// 192, and what `Reinit` refuses, or QM_NO_MEMORY; the record then stays as it was. Otherwise
/// `Reinit` and the lists follow: what a list does not hold is as `Reinit` left it. The stored form
/// has flaws that stored documents rely on, see docs/stored-form.md: **the count of components is
/// written under one name and read under another, and comes back as 0**, as do gains and offsets,
/// which come back as 1.0 and 0.0.

/// Of a picture of several channels.
///
/// `Reinit(2, 3, {2, 1}, 8)` of an empty record: levels 0 and 255, gamma 1.0. Whatever was there
/// is rescaled, with a trap: **both levels become the old black level**, rounded(black / full(old)
/// x full(new)), and the gamma stays. So from 8 to 16 bits levels 10 and 200 become 2570 and 2570,
/// and a second `Reinit` with equal arguments makes 10 and 10 of them. Set white afterwards.
class QM_API CQmLutParamMCH {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t m_uiChannelCount;
    std::uint32_t m_uiCompCount;  ///< components of the picture
    std::uint32_t* puiComp;       ///< components of each channel
    std::uint32_t* puiMin;        ///< black level of each channel
    std::uint32_t* puiMax;        ///< white level of each channel
    double* pdGamma;              ///< gamma of each channel
    std::int32_t iGradient;       ///< colour table of a single component

    CQmLutParamMCH();  ///< empty
    CQmLutParamMCH(const CQmLutParamMCH& other);
    CQmLutParamMCH(unsigned int channels, unsigned int comps, const unsigned int* sizes,
                   unsigned int bpc);
    /// Depth, colour table and levels, but **not the sizes and the count of components**, unlike a
    /// copy. If there are more channels than sizes, further sizes are 0; without sizes it stays so.
    CQmLutParamMCH& operator=(const CQmLutParamMCH& other);
    ~CQmLutParamMCH();

    void Init();
    void Free();
    /// `sizes` are the components of each channel; they are taken whenever they are given, else the
    /// old ones stay while the two counts do. New channels have levels 0 and full, gamma 1.0.
    int Reinit(unsigned int channels, unsigned int comps, const unsigned int* sizes,
               unsigned int bpc);
    void SetUnit();  ///< each channel 0, full, 1.0
    /// As after SetUnit? A gamma must be exactly 1.0. True without channels.
    bool IsUnit() const;
    /// Are channels, depth, components, colour table and all levels equal? Sizes count if both
    /// have them. Exact: a gamma that is not a number equals none.
    bool CompareWith(const CQmLutParamMCH& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;  ///< without the colour table
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    int GetComponentSizes(unsigned int** sizes) const;
    unsigned int GetMin(unsigned int c) const;  ///< 0 past the channels
    unsigned int GetMax(unsigned int c) const;  ///< full past the channels
    double GetGamma(unsigned int c) const;      ///< 1.0 past the channels
    void SetMin(unsigned int c, unsigned int v);
    void SetMax(unsigned int c, unsigned int v);
    void SetGamma(unsigned int c, double d);
    int GetGradient() const;
    void SetGradient(int gradient);
};

/// Of a colour picture.
///
/// `Reinit` of an empty record sets levels 0 and full, highest outputs full, gammas 1.0; with equal
/// depth nothing changes. With another depth black levels and highest outputs are rescaled,
/// rounded(level / full(old) x full(new)), and **white levels become the new black levels**: from
/// 8 to 16 bits black 0 and white 255 become 0 and 0, and white is 65535 only if black was 255.
class QM_API CQmLutParamRGB {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t uiMin[3];     ///< black levels
    std::uint32_t uiMax[3];     ///< white levels
    std::uint32_t uiMaxDst[3];  ///< highest outputs
    double dGamma[3];           ///< 0.0 in an empty record, which is therefore not unit

    CQmLutParamRGB();  ///< empty
    CQmLutParamRGB(const CQmLutParamRGB& other);
    explicit CQmLutParamRGB(unsigned int bpc);
    CQmLutParamRGB& operator=(const CQmLutParamRGB& other);
    ~CQmLutParamRGB();

    void Init();
    void Free();  ///< only Init: there is nothing to release
    int Reinit(unsigned int bpc);
    void SetUnit();  ///< levels 0 and full, highest outputs full, gammas 1.0
    /// As after SetUnit? Gammas must be exactly 1.0.
    bool IsUnit() const;
    /// Are depth, levels and gammas equal, and **this one's highest outputs equal to the other's
    /// white levels**? So a record with white 200 and highest output 255 differs from itself, and
    /// the order of the two counts. Exact.
    bool CompareWith(const CQmLutParamRGB& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;  ///< without the highest outputs
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetMin(unsigned int c) const;  ///< 0 for c of 3 and more
    unsigned int GetMax(unsigned int c) const;  ///< full for c of 3 and more
    double GetGamma(unsigned int c) const;      ///< 1.0 for c of 3 and more
    void SetMin(unsigned int c, unsigned int v);
    void SetMax(unsigned int c, unsigned int v);
    void SetGamma(unsigned int c, double d);
    unsigned int GetMaxDst(unsigned int c) const;  ///< full for c of 3 and more
    /// The same at a depth of `bpc` bits: rounded(value / full(m_uiBpc) x full(bpc)). 200 of 8 bits
    /// is 51400 of 16.
    unsigned int GetMaxDst(unsigned int c, unsigned int bpc) const;
    void SetMaxDst(unsigned int c, unsigned int v);
};

/// Of a spectral picture whose components have the colours of their light.
///
/// The first `m_uiSpectralChannelCount` channels are its spectral part, the others are further
/// channels, none if there are fewer channels than that. Gains and offsets are arrays of one value
/// for the spectral part and one for each further channel, at index 1 and up.
///
/// `Reinit` of the three spectral classes replaces the sizes when the count of components or
/// channels changes, **and only then**: with equal counts the old sizes stay whatever is given.
/// Gains and offsets stay while the count of further channels, and of nodes or groups, is the same;
/// otherwise all become 1.0 and 0.0. Gamma and colour table always stay. An assignment makes the
/// record equal, as a copy is.
class QM_API CQmLutParamSpectralTrueColor {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t m_uiSpectralChannelCount;
    std::uint32_t m_uiChannelCount;
    std::uint32_t m_uiCompCount;
    std::uint32_t* puiComp;  ///< components of each channel
    double* pdOffset;        ///< one for the spectral part, one for each further channel
    double* pdGain;
    double dGamma;           ///< of the picture; 1.0 in an empty record
    std::int32_t iGradient;  ///< colour table; -1 in an empty record

    CQmLutParamSpectralTrueColor();  ///< empty
    CQmLutParamSpectralTrueColor(const CQmLutParamSpectralTrueColor& other);
    CQmLutParamSpectralTrueColor(unsigned int channels, unsigned int spectralChannels,
                                 unsigned int comps, const unsigned int* sizes, unsigned int bpc);
    CQmLutParamSpectralTrueColor& operator=(const CQmLutParamSpectralTrueColor& other);
    ~CQmLutParamSpectralTrueColor();

    void Init();
    void Free();
    int Reinit(unsigned int channels, unsigned int spectralChannels, unsigned int comps,
               const unsigned int* sizes, unsigned int bpc);
    void SetUnit();       ///< gains 1.0, offsets 0.0, gamma 1.0
    bool IsUnit() const;  ///< as after SetUnit, exactly? True of an empty record.
    /// Are depth, counts, gamma, gains and offsets equal, exactly? **Sizes and colour table do not
    /// count.**
    bool CompareWith(const CQmLutParamSpectralTrueColor& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;  ///< without the colour table
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;  ///< sum of the sizes of spectral channels
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;    ///< 1.0 past the array
    double GetOffset(unsigned int i) const;  ///< 0.0 past the array
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    int GetGradient() const;
    void SetGradient(int gradient);
};

/// Of a spectral picture whose colours are set at nodes. Gains and offsets are arrays of one value
/// for each node and then one for each further channel.
///
/// **There are at most as many nodes as spectral channels**, and not components: `Reinit(5, 3, 4,
/// 4, {1, 1, 1, 1}, 12)` makes 3 nodes and arrays of 4 gains. New nodes are white, 0xFFFFFF.
/// Otherwise `Reinit` is that of CQmLutParamSpectralTrueColor.
class QM_API CQmLutParamSpectralCustomColor {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t m_uiNodeCount;
    std::uint32_t m_uiSpectralChannelCount;
    std::uint32_t m_uiChannelCount;
    std::uint32_t m_uiCompCount;
    std::uint32_t* puiComp;  ///< components of each channel
    double* pdOffset;        ///< one for each node, one for each further channel
    double* pdGain;
    std::uint32_t* puiColor;  ///< one for each node, colour references
    double dGamma;            ///< of the picture; 1.0 in an empty record

    CQmLutParamSpectralCustomColor();  ///< empty
    CQmLutParamSpectralCustomColor(const CQmLutParamSpectralCustomColor& other);
    CQmLutParamSpectralCustomColor(unsigned int nodes, unsigned int spectralChannels,
                                   unsigned int channels, unsigned int comps,
                                   const unsigned int* sizes, unsigned int bpc);
    CQmLutParamSpectralCustomColor& operator=(const CQmLutParamSpectralCustomColor& other);
    ~CQmLutParamSpectralCustomColor();

    void Init();
    void Free();
    int Reinit(unsigned int nodes, unsigned int spectralChannels, unsigned int channels,
               unsigned int comps, const unsigned int* sizes, unsigned int bpc);
    void SetUnit();       ///< gains 1.0, offsets 0.0, gamma 1.0; colours stay
    bool IsUnit() const;  ///< as after SetUnit, exactly? True of an empty record.
    /// Are depth, counts, gamma, gains, offsets and colours equal, exactly? **Sizes do not count.**
    bool CompareWith(const CQmLutParamSpectralCustomColor& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;  ///< sum of the sizes of spectral channels
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;    ///< 1.0 past the array
    double GetOffset(unsigned int i) const;  ///< 0.0 past the array
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    unsigned int GetNodeCount() const;
    std::uint32_t GetColor(unsigned int i) const;  ///< 0xFFFFFF past the nodes
    void SetColor(unsigned int i, unsigned int color);
    /// A colour for each of the S = GetSpectralComponentCount() spectral components: of n nodes
    /// node i stands at component i (S - 1) / (n - 1), truncated, and between nodes each of the
    /// three bytes is interpolated, truncated. Of nodes 0 and 0x0000FF over 4 components these are
    /// 0, 0x55, 0xAA and 0xFF. One node colours all, and without any all are white. Byte 3 is 0.
    /// 0; QM_BAD_BUFFER for null.
    int GetCompColors(unsigned int* colors) const;
};

/// Of a spectral picture whose neighbouring components form groups. Gains and offsets are arrays of
/// one value for each group and then one for each further channel.
///
/// **There are at most as many groups as spectral channels**, and not components; of `groupSizes`
/// so many are taken, when the count of groups or further channels changes, and zeros without them.
/// New groups are white, 0xFFFFFF. Otherwise `Reinit` is that of CQmLutParamSpectralTrueColor.
class QM_API CQmLutParamSpectralGrouped {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t m_uiGroupCount;
    std::uint32_t m_uiSpectralChannelCount;
    std::uint32_t m_uiChannelCount;
    std::uint32_t m_uiCompCount;
    std::uint32_t* puiComp;       ///< components of each channel
    std::uint32_t* puiGroupSize;  ///< components of each group
    double* pdOffset;             ///< one for each group, one for each further channel
    double* pdGain;
    std::uint32_t* puiColor;  ///< one for each group, colour references
    double dGamma;            ///< of the picture; 1.0 in an empty record

    CQmLutParamSpectralGrouped();  ///< empty
    CQmLutParamSpectralGrouped(const CQmLutParamSpectralGrouped& other);
    CQmLutParamSpectralGrouped(unsigned int groups, const unsigned int* groupSizes,
                               unsigned int spectralChannels, unsigned int channels,
                               unsigned int comps, const unsigned int* sizes, unsigned int bpc);
    CQmLutParamSpectralGrouped& operator=(const CQmLutParamSpectralGrouped& other);
    ~CQmLutParamSpectralGrouped();

    void Init();
    void Free();
    int Reinit(unsigned int groups, const unsigned int* groupSizes, unsigned int spectralChannels,
               unsigned int channels, unsigned int comps, const unsigned int* sizes,
               unsigned int bpc);
    void SetUnit();       ///< gains 1.0, offsets 0.0, gamma 1.0; colours stay
    bool IsUnit() const;  ///< as after SetUnit, exactly? True of an empty record.
    /// Are depth, counts, gamma, gains, offsets and colours equal, exactly? **Sizes, of groups too,
    /// do not count.**
    bool CompareWith(const CQmLutParamSpectralGrouped& other) const;
    /// **Under the name of CQmLutParamSpectralCustomColor**, which reads it as channels without
    /// nodes; and without colours. LoadFromLiteVariant does not find it: QM_BAD_BUFFER.
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;  ///< sum of the sizes of spectral channels
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;    ///< 1.0 past the array
    double GetOffset(unsigned int i) const;  ///< 0.0 past the array
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    unsigned int GetGroupCount() const;
    int GetGroupSizes(unsigned int** sizes) const;
    std::uint32_t GetColor(unsigned int i) const;  ///< 0xFFFFFF past the groups
    void SetColor(unsigned int i, unsigned int color);
};
