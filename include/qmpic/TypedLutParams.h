#pragma once

#include <cstdint>

#include "qmpic/export.h"

class CQmLiteVariantR;
class CQmLiteVariantW;

// Display parameters of one kind of picture each. Levels are in sample units of `m_uiBpc`. Unlike
// SQmLutParam they have no lock.

/// Of a picture of several channels.
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

    CQmLutParamMCH();
    CQmLutParamMCH(const CQmLutParamMCH& other);
    CQmLutParamMCH(unsigned int channels, unsigned int comps, const unsigned int* sizes,
                   unsigned int bpc);
    CQmLutParamMCH& operator=(const CQmLutParamMCH& other);
    ~CQmLutParamMCH();

    void Init();
    void Free();
    int Reinit(unsigned int channels, unsigned int comps, const unsigned int* sizes,
               unsigned int bpc);
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const CQmLutParamMCH& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    int GetComponentSizes(unsigned int** sizes) const;
    unsigned int GetMin(unsigned int c) const;
    unsigned int GetMax(unsigned int c) const;
    double GetGamma(unsigned int c) const;
    void SetMin(unsigned int c, unsigned int v);
    void SetMax(unsigned int c, unsigned int v);
    void SetGamma(unsigned int c, double d);
    int GetGradient() const;
    void SetGradient(int gradient);
};

/// Of a colour picture.
class QM_API CQmLutParamRGB {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t uiMin[3];     ///< black levels
    std::uint32_t uiMax[3];     ///< white levels
    std::uint32_t uiMaxDst[3];  ///< highest outputs
    double dGamma[3];

    CQmLutParamRGB();
    CQmLutParamRGB(const CQmLutParamRGB& other);
    explicit CQmLutParamRGB(unsigned int bpc);
    CQmLutParamRGB& operator=(const CQmLutParamRGB& other);
    ~CQmLutParamRGB();

    void Init();
    void Free();
    int Reinit(unsigned int bpc);
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const CQmLutParamRGB& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetMin(unsigned int c) const;
    unsigned int GetMax(unsigned int c) const;
    double GetGamma(unsigned int c) const;
    void SetMin(unsigned int c, unsigned int v);
    void SetMax(unsigned int c, unsigned int v);
    void SetGamma(unsigned int c, double d);
    unsigned int GetMaxDst(unsigned int c) const;
    unsigned int GetMaxDst(unsigned int c, unsigned int bpc) const;
    void SetMaxDst(unsigned int c, unsigned int v);
};

/// Of a spectral picture whose components have the colours of their light.
class QM_API CQmLutParamSpectralTrueColor {
  public:
    std::uint32_t m_uiBpc;
    std::uint32_t m_uiSpectralChannelCount;
    std::uint32_t m_uiChannelCount;
    std::uint32_t m_uiCompCount;
    std::uint32_t* puiComp;  ///< components of each channel
    double* pdOffset;        ///< one for the spectral part, one for each further channel
    double* pdGain;
    double dGamma;
    std::int32_t iGradient;

    CQmLutParamSpectralTrueColor();
    CQmLutParamSpectralTrueColor(const CQmLutParamSpectralTrueColor& other);
    CQmLutParamSpectralTrueColor(unsigned int channels, unsigned int spectralChannels,
                                 unsigned int comps, const unsigned int* sizes, unsigned int bpc);
    CQmLutParamSpectralTrueColor& operator=(const CQmLutParamSpectralTrueColor& other);
    ~CQmLutParamSpectralTrueColor();

    void Init();
    void Free();
    int Reinit(unsigned int channels, unsigned int spectralChannels, unsigned int comps,
               const unsigned int* sizes, unsigned int bpc);
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const CQmLutParamSpectralTrueColor& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;
    double GetOffset(unsigned int i) const;
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    int GetGradient() const;
    void SetGradient(int gradient);
};

/// Of a spectral picture whose colours are set at nodes.
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
    double dGamma;

    CQmLutParamSpectralCustomColor();
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
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const CQmLutParamSpectralCustomColor& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;
    double GetOffset(unsigned int i) const;
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    unsigned int GetNodeCount() const;
    std::uint32_t GetColor(unsigned int i) const;
    void SetColor(unsigned int i, unsigned int color);
    int GetCompColors(unsigned int* colors) const;
};

/// Of a spectral picture whose neighbouring components form groups.
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
    double dGamma;

    CQmLutParamSpectralGrouped();
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
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const CQmLutParamSpectralGrouped& other) const;
    int SaveToLiteVariant(CQmLiteVariantW& w) const;
    int LoadFromLiteVariant(CQmLiteVariantR& r);

    unsigned int GetBpc() const;
    unsigned int GetSpectralChannelCount() const;
    unsigned int GetChannelCount() const;
    unsigned int GetComponentCount() const;
    unsigned int GetSpectralComponentCount() const;
    int GetComponentSizes(unsigned int** sizes) const;
    double GetGamma() const;
    double GetGain(unsigned int i) const;
    double GetOffset(unsigned int i) const;
    void SetGain(unsigned int i, double d);
    void SetOffset(unsigned int i, double d);
    unsigned int GetGroupCount() const;
    int GetGroupSizes(unsigned int** sizes) const;
    std::uint32_t GetColor(unsigned int i) const;
    void SetColor(unsigned int i, unsigned int color);
};
