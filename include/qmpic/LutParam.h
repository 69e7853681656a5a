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
///
/// `comp` is below 192, which nobody checks.
///
/// Threads. The spectral data has a lock, and with it goes `uiGroup` of all components. Copying,
/// CompareWith and CompatibleCopy hold the locks of both records from beginning to end, so any
/// number of threads may call them, on the same records in either direction, and members of the
/// spectral data beside them. All other fields are plain: who changes one (by himself, by a setter,
/// by SetUnit, Init, GlobalParamToComponent or PartialCopyIndependendOnEnable) while another thread
/// uses the record must keep that thread away, or hold `sLutDataSpectral.mtx` of this one record,
/// as long as the other thread only copies and compares. Who holds that lock may not copy to or
/// compare with another record: two who do so in opposite directions wait for ever.
///
/// Exceptions: std::bad_alloc where records are made or copied and where arrays grow or shrink, and
/// std::system_error of a mutex that cannot be locked. What throws has changed nothing, but that
/// SetGroupCount stays at the number that it reached, and CompatibleCopy may have copied.
class QM_API SQmLutParam {
  public:
    QM_CONSTANT std::uint32_t MaxComponents = 192;

    /// How the components of a spectral picture are shown together: in one of four modes, a gain
    /// and an offset for all, for nodes along the spectrum, or for groups of neighbours.
    ///
    /// Every member takes the lock, which may be taken again by who has it, but for
    /// GetNonTransmittedComponentCount. Fields may be read and changed by who holds it.
    ///
    /// Components are those below `uiSpectralCompCount`, and at most 192. An entry past the arrays,
    /// of arrays that are not there or of a mode above 3 reads as gain 1.0, offset 0.0 and colour
    /// 0xFFFFFF, and setting it does nothing.
    class QM_API SQmLUTDataSpectral {
      public:
        // The offset of mode m is the m-th pointer, its gain the (m + 4)-th. What they lead to is
        // made by `new[]` and released by the destructor; any may be null.
        double* pdOffsetTrueColor;  ///< one value
        double* pdOffsetCustom;     ///< of each node
        double* pdOffsetGrouped;    ///< of each group
        double* pdOffsetGrayScale;  ///< one value
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

        /// Mode 0, no components, 3 groups, single values 0.0 and 1.0, no arrays.
        explicit SQmLUTDataSpectral(SQmLutParam* owner);
        SQmLUTDataSpectral(const SQmLUTDataSpectral&) = delete;
        SQmLUTDataSpectral& operator=(const SQmLUTDataSpectral&) = delete;
        ~SQmLUTDataSpectral();

        // ----- Groups ----------------------------------------------------------------------------

        std::uint32_t GetMode() const;          ///< `uiSpectralColorMode`
        std::uint32_t GetSpectralGroupCount();  ///< of the enabled groups, unlike the field
        /// `uiSpectralCompCount`, without the lock: it never waits.
        std::uint32_t GetNonTransmittedComponentCount();

        /// `uiGroupCount`; `ends`, if not null, gets the last component of each run of neighbours
        /// with one `uiGroup`: 2 and 5 for groups 0 0 0 1 1 1. It needs room for as many as there
        /// are runs, which may be more than the result: as many as components.
        ///
        /// With `bFix`, and with at least one component, groups that do not fit are made anew, if
        /// there are more or less runs than groups: 3 groups, or as many as components if that is
        /// less, which share the components evenly (4, 3 and 3 of 10), with the colours 0xFF0000,
        /// 0x00FF00 and 0x0000FF in both arrays, all enabled. Then there are exactly as many ends
        /// as groups. A record that is new has 3 groups but all components in group 0, so it is
        /// always made anew.
        std::uint32_t GetAllGroupCount(unsigned int* ends, bool bFix);
        /// Removes groups from the end, or inserts at the end, until there are `count`, which may
        /// not be possible: insertion stops at 8 and at the number of components, removal at 1. As
        /// in InsertGroup, asking for more with less components than groups leaves less.
        /// @return the number reached; `count` when that is what there was; 0 when nothing could be
        /// done
        int SetGroupCount(int count);
        /// Resizes the six arrays, not the number of groups. What both sizes have stays; further
        /// entries are offset 0.0, gain 1.0 and colour 0xFF0000, but the first three of arrays that
        /// were empty are 0xFF0000, 0x00FF00 and 0x0000FF. 0 releases them; more than 192 is 192.
        void Realloc(unsigned int count);
        /// A group before group `index` (or behind the last), with offset 0.0, gain 1.0, and in
        /// both arrays the colour of the middle of its part of the spectrum: QM_RGBFromWavelength
        /// of 400 + 245 (index + 0.5) / groups nanometres. Components are shared anew among all
        /// groups, evenly. There are never more groups than components: with less of them than
        /// groups, an insertion is not refused but leaves as many groups as components (1 of 3, if
        /// there is 1 component).
        /// @param newCount  gets the number of groups if it is not null
        /// @return 0; -9 if there are as many groups as components, or for an index above groups
        int InsertGroup(unsigned int index, unsigned int* newCount);
        /// The entries behind group `index` move down; components are shared anew, evenly.
        /// @return 0; -9 for the only group or an index that is none
        int RemoveGroup(unsigned int index, unsigned int* newCount);
        bool IsAbleToInsertGroup(unsigned int index);  ///< would InsertGroup give 0?
        bool IsAbleToRemoveGroup(unsigned int index);  ///< would RemoveGroup give 0?

        /// In the top byte of both colours: 0 enabled, 0xFF disabled. Nothing past the groups.
        void EnableGroup(unsigned int group, bool bEnable);
        /// Is the top byte of its colour 0? Of the node's colour in mode 1, of the group's else.
        /// False past the groups; true for groups without a colour.
        bool IsGroupEnabled(unsigned int group);
        /// As long as there are groups.
        void GetEnabledGroupMask(CQmRangeMask& mask);
        /// As long as there are components: those of the enabled groups.
        void GetComponentEnabledGroupMask(CQmRangeMask& mask);

        // ----- Gains and offsets of the present mode; modes 0 and 3 have one for any index -------

        double GetGain(unsigned int index);
        double GetOffset(unsigned int index);
        void SetGain(unsigned int index, double value);
        void SetOffset(unsigned int index, double value);
        /// Those of each component: in modes 0 and 3 the only ones, in mode 2 those of its group,
        /// in mode 1 those between the nodes, of which node i stands at component
        /// i * (components - 1) / (nodes - 1), cut. A null array is left out.
        void GetCompOffsetAndGains(double* offsets, double* gains);
        /// Fills `dst` along straight lines from node to node: nodes 0 and 1 at positions 0 and 4
        /// give 0, 0.25, 0.5, 0.75, 1. From node a at p to b at q an entry x is
        /// (x - p) * (1 / (q - p)) * (b - a) + a. Nodes at one position: the last shows. Entry 0 is
        /// always written, and is node 0 if no other stands there; nothing for no nodes.
        void InterpolateVals(double* nodes, double* dst, unsigned int count,
                             unsigned int* positions);
        void Reset();                    ///< gains 1.0 and offsets 0.0, of the present mode alone
        void Reset(unsigned int index);  ///< of this index alone
        bool IsReset();                  ///< are all of the present mode as after Reset?

        // ----- Colours ---------------------------------------------------------------------------

        // Without the top byte, which tells whether the group is enabled; setters keep it.
        std::uint32_t GetGroupColor(unsigned int index);
        std::uint32_t GetCustomColor(unsigned int index);
        void SetGroupColor(unsigned int index, unsigned int color);
        void SetCustomColor(unsigned int index, unsigned int color);
        /// Of the node in mode 1, of the group in mode 2; nothing in other modes.
        void SetColor(unsigned int index, unsigned int color);
        /// Mode 0: the colour of light of 400 + 245 (comp + 0.5) / components nanometres. Mode 1:
        /// between the nodes as in GetCompOffsetAndGains, each byte for itself, cut. Mode 2: of the
        /// group. Mode 3, or past the components: white. A disabled group, or a disabled node
        /// before its neighbours are blended with it, is black unless `bIgnoreEnable`.
        std::uint32_t GetCompColor(unsigned int comp, bool bIgnoreEnable);
        /// All of them; nothing for null. The last argument is not read.
        void GetCompColors(unsigned int* colors, bool bIgnoreEnable, bool bReserved);

        /// Keeps of `src` what the components in the mask need. The k-th of them is component k of
        /// `dst`. Their groups, in the order in which they appear, are groups 0, 1, ... of `dst`,
        /// and there are no others; offsets, gains and colours (with top byte) of modes 1 and 2
        /// move with them. Components of `dst` behind the last are in group 0. The single values of
        /// modes 0 and 3 are copied if both have them; mode and number of components of `dst` stay.
        /// Components 2, 3 and 7 in groups 1, 1 and 3 become components 0, 1, 2 in groups 0, 0, 1.
        /// Both may be one.
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
    /// A deep copy of everything, but `sLutDataSpectral.pOwner`, which is this record.
    SQmLutParam(const SQmLutParam& other);
    SQmLutParam& operator=(const SQmLutParam& other);  ///< likewise
    ~SQmLutParam();

    // ----- Levels as fractions -------------------------------------------------------------------
    //
    // Without a component, the global level (of a float picture: in sample units, not a fraction).
    // With one, the level in effect: the global range narrowed by the component's, within 0 and 1;
    // a component's upper level 32768 of a global range up to 32768 is
    // (32768 - 32768 * 32767 / 65535) / 65535. In a float picture the global source range plays no
    // part in it. `GetComp...`: what the component holds, as it stands.

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
    double GetGammaSrc(unsigned int comp) const;  ///< the product of both
    double GetCompGammaSrc(unsigned int comp) const;

    // ----- Levels in sample units ----------------------------------------------------------------
    //
    // The fraction times 2^bpc - 1 (`bpc` to 32), plus 0.5, cut: 32768 of 65535 at 8 bits is 128.
    // Source levels of a float picture: the global ones are cut as they stand; those of components
    // are the fraction times the global *white* level, plus 0.5, cut, for black as for white, and
    // the global black level plays no part. What is negative or does not fit keeps the low 32 bits
    // of a signed 64-bit integer: -2.0 is 0xFFFFFFFE, and -FLT_MAX or NaN is 0.

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
    /// The level in effect in sample units of the depth, not rounded; of a float picture, the
    /// fraction times (hi - lo), plus lo, in floats: 0.25 from 10 to 30 is 15.
    float GetMinSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const;
    float GetMaxSrcFlt(unsigned int comp, unsigned int bpc, float lo, float hi) const;

    // ----- Setters -------------------------------------------------------------------------------
    //
    // Of fractions: v * 65535 is cut, but SetMaxSrcDbl alone adds 0.5 before. So 0.5 is 32767, and
    // 32768 in SetMaxSrcDbl. Nothing is limited: the low 16 bits are kept, and 65536.0 / 65535 is
    // 0. Source levels of a float picture are held as they come.

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

    /// What the setters take of a sample value: value / (2^bpc - 1). Depth 0 divides by 0.
    static double GetDblFromAbsValue(double value, unsigned int bpc);

    // ----- Levels that suit the ranges of a float picture, one for each component ----------------
    //
    // Data is negative if any limit of any component is. NaN is not, and is neither least nor
    // greatest.

    /// Negative data: the least lower limit; other data and no ranges: 0.0.
    static float GetMinFromFloatRanges(const std::vector<CQmRangeBase<float>>& ranges);
    /// Negative data: the greatest upper limit u. Other data: 1.0 for u below 1, else the next
    /// power of two *above* u, which stays through small changes of the data: 2.0 for 1.0, 4.0 for
    /// 3.7, 8.0 for 4.0. Behind 2^63 powers begin again at 1.0, which is that of u = 2^63. No
    /// ranges: 1.0.
    static float GetMaxFromFloatRanges(const std::vector<CQmRangeBase<float>>& ranges);
    /// Negative data: the lower limit of the component; other data: 0.0. FLT_MAX past the ranges.
    static float GetCompMinFromFloatRanges(unsigned int comp,
                                           const std::vector<CQmRangeBase<float>>& ranges);
    /// Negative data: the upper limit of the component; other data: as GetMaxFromFloatRanges, of
    /// all components. -FLT_MAX past the ranges.
    static float GetCompMaxFromFloatRanges(unsigned int comp,
                                           const std::vector<CQmRangeBase<float>>& ranges);
    /// The lower limit of the component, at most FLT_MAX; FLT_MAX for NaN and past the ranges.
    static float GetCompMinFromFloatRangesSimple(unsigned int comp,
                                                 const std::vector<CQmRangeBase<float>>& ranges);
    /// The upper limit of the component, at least -FLT_MAX; -FLT_MAX for NaN and past the ranges.
    static float GetCompMaxFromFloatRangesSimple(unsigned int comp,
                                                 const std::vector<CQmRangeBase<float>>& ranges);

    // ----- The whole record ----------------------------------------------------------------------

    /// What picture it is for. Colour space 1 is one component, whatever the last two arguments.
    void Init(unsigned int colorSpace, bool bFloat, unsigned int representation,
              unsigned int lutComponents, unsigned int spectralComponents);
    /// Neutral levels and gammas, globally and in all components, no global float range, and
    /// SQmLUTDataSpectral::Reset. Everything else stays, with it the groups of components.
    void SetUnit();
    /// Does an integer picture have neutral levels and gammas, globally and in all 192 components?
    /// Gammas may be 0.001 off, and NaN is neutral. For a float picture only this counts: is the
    /// global range none, fMinSrc > fMaxSrc? The spectral data plays no part.
    bool IsUnit() const;
    /// Do both show pictures alike? Compared are `bFloat`; source levels of the kind that it says,
    /// destination levels and gamma (to 0.001) globally and of all 192 components; both gradients;
    /// mode and number of groups; the group of each component; and gains and offsets of the mode,
    /// exactly, as many as there are groups and as both records have entries. The colour space, the
    /// representation, both numbers of components and the colours are *not* compared. NaN differs
    /// in float levels, gains and offsets, even from itself, and never in gammas. If either record
    /// lacks the gains of the mode, they are alike.
    bool CompareWith(const SQmLutParam& other) const;
    /// Copies if colour space, representation, both numbers of components and `bFloat` agree, else
    /// nothing; then in either case calls GetAllGroupCount(nullptr, true) on this record.
    /// @return always 0: nobody is told whether it has copied
    int CompatibleCopy(const SQmLutParam& other);
    /// Copies both gradients and the global float range, and nothing else.
    void PartialCopyIndependendOnEnable(const SQmLutParam& other);
    /// Makes the levels in effect those of the components, cut to 65535ths, and the global ones
    /// neutral. Each component is done field by field: its float levels are made last, of what is
    /// already narrowed, so those of an integer picture are narrowed twice (global 0 to 32768:
    /// `uiMaxSrc` 32768, and `fMaxSrc` the quarter (32768 / 65535)^2, not the half). The global
    /// float range stays.
    void GlobalParamToComponent();
    /// Are the components of the mask, from the first set bit to the next clear one, of one group?
    /// What is set behind the gap does not count. False in modes other than 2, without groups, and
    /// for an empty mask.
    /// @param firstComp  if not null, gets the first set bit, also for components of several groups
    bool IsGroupMask(const CQmRangeMask& mask, unsigned int* firstComp) const;
    /// The groups of the spectral components among the first `compCount` that are set in `comps`.
    /// If there are components behind the spectral ones, `groups` has one more bit, behind all
    /// groups, which stands for all of them together and is bit `compCount` - 1, the last of them:
    /// 2 spectral components of 3, in 2 groups, and bit 2 alone give three bits, of which the last
    /// is set. Both masks may be one.
    /// @return 0; -9 in modes other than 1 and 2, `groups` untouched
    int ComponentMaskToSpectralGroupMask(CQmRangeMask& groups, const CQmRangeMask& comps,
                                         unsigned int compCount);

    /// Makes `v` a list of the fields, whose name stays: see docs/stored-form.md. `bFloat`, the
    /// global floats and the number of spectral components are not stored. 0; -3, and `v` is null.
    static int SaveToVariant(CQmVariant& v, const SQmLutParam& p);
    /// What is absent stays as it was, and so does the offset of grey scale, whose key is written
    /// in one spelling and read in another. 0; -3 with what was read so far.
    static int LoadFromVariant(SQmLutParam& p, const CQmVariant& v);
};
