#pragma once

#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/RangeBase.h"
#include "qmpic/system/RangeMask.h"

class CQmVariant;

/// How one component of a picture is shown.
class QM_API SQmCompLutParam {
  public:
    std::uint16_t uiMinSrc;  ///< black level, as a fraction (of 65535) of the global range
    std::uint16_t uiMaxSrc;  ///< white level, likewise
    double dGammaSrc;        ///< multiplied with the global one
    std::uint16_t uiMinDst;  ///< lowest output, relative to the global range
    std::uint16_t uiMaxDst;  ///< highest output, likewise
    std::uint32_t uiGroup;   ///< the spectral group that the component belongs to
    float fMinSrc;           ///< black level of a float picture, 0 to 1
    float fMaxSrc;           ///< white level of a float picture, 0 to 1

    SQmCompLutParam();  ///< 0 to 65535, gamma 1.0, 0 to 65535, group 0, 0.0 to 1.0
    SQmCompLutParam(const SQmCompLutParam& other) = default;
    SQmCompLutParam& operator=(const SQmCompLutParam& other);
    SQmCompLutParam& operator=(SQmCompLutParam&& other) noexcept;
};

/// How one picture is shown: levels, gamma and output range, once for the whole picture and once
/// more for each of up to 192 components, the colour table in use, and the spectral data. Levels
/// are fractions of 65535, so that they hold at any depth; those of float pictures are floats.
class QM_API SQmLutParam {
  public:
    QM_CONSTANT std::uint32_t MaxComponents = 192;

    /// How the components of a spectral picture are shown together: in one of four modes, a gain
    /// and an offset for all, for nodes along the spectrum, or for groups of neighbours.
    class QM_API SQmLUTDataSpectral {
      public:
        // The offset of mode m is the m-th pointer, its gain the (m + 4)-th.
        double* pdOffsetTrueColor;
        double* pdOffsetCustom;
        double* pdOffsetGrouped;
        double* pdOffsetGrayScale;
        double* pdGainTrueColor;
        double* pdGainCustom;
        double* pdGainGrouped;
        double* pdGainGrayScale;
        std::uint32_t* puiColorCustom;      ///< colour references; above 0xFFFFFF: disabled
        std::uint32_t* puiColorGroup;       ///< likewise
        std::uint32_t uiAllocated;          ///< entries of the six arrays
        std::uint32_t uiGroupCount;         ///< groups or nodes in force
        SQmLutParam* pOwner;                ///< the record that holds this one
        std::uint32_t uiSpectralCompCount;  ///< spectral components
        std::uint32_t uiSpectralColorMode;  ///< 0 true colour, 1 custom, 2 grouped, 3 grey scale
        mutable std::recursive_mutex mtx;   ///< protects everything above

        explicit SQmLUTDataSpectral(SQmLutParam* owner);
        SQmLUTDataSpectral(const SQmLUTDataSpectral&) = delete;
        SQmLUTDataSpectral& operator=(const SQmLUTDataSpectral&) = delete;
        ~SQmLUTDataSpectral();

        std::uint32_t GetMode() const;
        std::uint32_t GetSpectralGroupCount();
        std::uint32_t GetNonTransmittedComponentCount();
        std::uint32_t GetAllGroupCount(unsigned int* ends, bool bFix);
        int SetGroupCount(int count);
        void Realloc(unsigned int count);
        int InsertGroup(unsigned int index, unsigned int* newCount);
        int RemoveGroup(unsigned int index, unsigned int* newCount);
        bool IsAbleToInsertGroup(unsigned int index);
        bool IsAbleToRemoveGroup(unsigned int index);
        void EnableGroup(unsigned int group, bool bEnable);
        bool IsGroupEnabled(unsigned int group);
        void GetEnabledGroupMask(CQmRangeMask& mask);
        void GetComponentEnabledGroupMask(CQmRangeMask& mask);
        double GetGain(unsigned int index);
        double GetOffset(unsigned int index);
        void SetGain(unsigned int index, double value);
        void SetOffset(unsigned int index, double value);
        std::uint32_t GetGroupColor(unsigned int index);
        std::uint32_t GetCustomColor(unsigned int index);
        void SetGroupColor(unsigned int index, unsigned int color);
        void SetCustomColor(unsigned int index, unsigned int color);
        void SetColor(unsigned int index, unsigned int color);
        std::uint32_t GetCompColor(unsigned int comp, bool bIgnoreEnable);
        void GetCompColors(unsigned int* colors, bool bIgnoreEnable, bool bReserved);
        void GetCompOffsetAndGains(double* offsets, double* gains);
        void InterpolateVals(double* nodes, double* dst, unsigned int count,
                             unsigned int* positions);
        void Reset();
        void Reset(unsigned int index);
        bool IsReset();
        static void ExtractGroups(SQmLUTDataSpectral& dst, SQmLUTDataSpectral& src,
                                  const CQmRangeMask& comps);
    };

    std::uint32_t uiGradient = 0;             ///< colour table, see SQmLut::GetPredefLut
    std::uint32_t uiGradientBrightField = 0;  ///< the same for bright field
    SQmLUTDataSpectral sLutDataSpectral;
    std::uint16_t uiMinSrc = 0;      ///< global black level, of 65535
    std::uint16_t uiMaxSrc = 65535;  ///< global white level
    double dGammaSrc = 1.0;          ///< global gamma
    std::uint16_t uiMinDst = 0;      ///< global lowest output
    std::uint16_t uiMaxDst = 65535;  ///< global highest output
    bool bFloat = false;             ///< the two floats hold in place of uiMinSrc and uiMaxSrc
    float fMinSrc = FLT_MAX;         ///< global black level in sample units; above fMaxSrc: none
    float fMaxSrc = -FLT_MAX;        ///< global white level in sample units
    SQmCompLutParam sCompLutParam[MaxComponents];
    std::uint32_t uiColorSpace = 0;         ///< 1: a single component
    std::uint32_t uiRepresentation = 0;     ///< a tag of the application
    std::uint32_t uiLutComponentCount = 0;  ///< components of the table set

    SQmLutParam();
    SQmLutParam(const SQmLutParam& other);
    SQmLutParam& operator=(const SQmLutParam& other);
    ~SQmLutParam();

    double GetMinSrcDbl() const;
    double GetMinSrcDbl(unsigned int comp) const;
    double GetCompMinSrcDbl(unsigned int comp) const;
    double GetMaxSrcDbl() const;
    double GetMaxSrcDbl(unsigned int comp) const;
    double GetCompMaxSrcDbl(unsigned int comp) const;
    double GetMinDstDbl() const;
    double GetMinDstDbl(unsigned int comp) const;
    double GetCompMinDstDbl(unsigned int comp) const;
    double GetMaxDstDbl() const;
    double GetMaxDstDbl(unsigned int comp) const;
    double GetCompMaxDstDbl(unsigned int comp) const;
    double GetGammaSrc() const;
    double GetGammaSrc(unsigned int comp) const;
    double GetCompGammaSrc(unsigned int comp) const;

    unsigned int GetMinSrc(unsigned int bpc) const;
    unsigned int GetMinSrc(unsigned int comp, unsigned int bpc) const;
    unsigned int GetCompMinSrc(unsigned int comp, unsigned int bpc) const;
    unsigned int GetMaxSrc(unsigned int bpc) const;
    unsigned int GetMaxSrc(unsigned int comp, unsigned int bpc) const;
    unsigned int GetCompMaxSrc(unsigned int comp, unsigned int bpc) const;
    unsigned int GetMinDst(unsigned int bpc) const;
    unsigned int GetMinDst(unsigned int comp, unsigned int bpc) const;
    unsigned int GetCompMinDst(unsigned int comp, unsigned int bpc);
    unsigned int GetMaxDst(unsigned int bpc) const;
    unsigned int GetMaxDst(unsigned int comp, unsigned int bpc) const;
    unsigned int GetCompMaxDst(unsigned int comp, unsigned int bpc);
    float GetMinSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const;
    float GetMaxSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const;

    void SetMinSrcDbl(double v);
    void SetMaxSrcDbl(double v);
    void SetMinDstDbl(double v);
    void SetMaxDstDbl(double v);
    void SetGammaSrc(double v);
    void SetCompMinSrcDbl(unsigned int comp, double v);
    void SetCompMaxSrcDbl(unsigned int comp, double v);
    void SetCompMinDstDbl(unsigned int comp, double v);
    void SetCompMaxDstDbl(unsigned int comp, double v);
    void SetCompGammaSrc(unsigned int comp, double v);

    static double GetDblFromAbsValue(double value, unsigned int bpc);
    static float GetMinFromFloatRanges(const std::vector<CQmRangeBase<float>>& ranges);
    static float GetMaxFromFloatRanges(const std::vector<CQmRangeBase<float>>& ranges);
    static float GetCompMinFromFloatRanges(unsigned int comp,
                                           const std::vector<CQmRangeBase<float>>& ranges);
    static float GetCompMaxFromFloatRanges(unsigned int comp,
                                           const std::vector<CQmRangeBase<float>>& ranges);
    static float GetCompMinFromFloatRangesSimple(unsigned int comp,
                                                 const std::vector<CQmRangeBase<float>>& ranges);
    static float GetCompMaxFromFloatRangesSimple(unsigned int comp,
                                                 const std::vector<CQmRangeBase<float>>& ranges);

    void Init(unsigned int colorSpace, bool bFloat, unsigned int representation,
              unsigned int lutComponents, unsigned int spectralComponents);
    void SetUnit();
    bool IsUnit() const;
    bool CompareWith(const SQmLutParam& other) const;
    int CompatibleCopy(const SQmLutParam& other);
    void PartialCopyIndependendOnEnable(const SQmLutParam& other);
    void GlobalParamToComponent();
    bool IsGroupMask(const CQmRangeMask& mask, unsigned int* firstComp) const;
    int ComponentMaskToSpectralGroupMask(CQmRangeMask& groups, const CQmRangeMask& comps,
                                         unsigned int compCount);

    static int SaveToVariant(CQmVariant& v, const SQmLutParam& p);
    static int LoadFromVariant(SQmLutParam& p, const CQmVariant& v);
};
