#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "qmpic/Gradient.h"
#include "qmpic/export.h"
#include "qmpic/system/RangeMask.h"
#include "qmpic/system/String.h"

struct SQmHisto;
class SQmLutParam;

/// A set of look-up tables: for one picture the whole mapping from sample values to destination
/// values or colours, for one or many components. Generators fill it, renderers walk `pLuts`
/// directly, so the shapes below are an interface.
///
/// A cell has (`ucDstBpc` + 7) / 8 bytes, little-endian: 1 up to 8 bits, 2 from 9 to 16. A row is
/// what a sample value leads to, `ucDstComponents` cells; in a colour the cells are blue, green,
/// red. A table has 2^`ucSrcBpc` rows. All tables of a set lie one after another in one block.
///
/// | shape         | when                                           | a cell is          |
/// |---------------|------------------------------------------------|--------------------|
/// | flat          | 1 component, 1 cell: `pLuts` is the block      | cells[value]       |
/// | colour        | 1 component: pointers to rows                  | rows[value][cell]  |
/// | per-component | more: pointers to the pointers of each         | root[c][value][cell] |
/// | shared        | more, and `root[0] == root[1]`: one table for all | root[c][value][cell] |
///
/// In the per-component shape the pointers to rows of all components are one array, too: `root[0]`
/// is its start, and `root[0][0]` that of the block. Of 3 components, 16 source bits and 3 cells of
/// 8 bits the block has 3 x 65536 x 3 bytes, and `root[2][65535]` are its last 3.
///
/// Tables come from the C heap and belong to the set, which releases them when it is destroyed.
/// Building is for one thread at a time; any number may read a set that stands. Copies of a set
/// come without exposure colours and thresholds.
class QM_API SQmLut {
  public:
    /// How the spectral renderers compute one component instead of looking it up.
    struct SQmParam {
        double dOffset;         ///< added to the sample first: the negated black level
        double dGain;           ///< multiplier
        double dGamma;          ///< gamma of the picture
        std::uint32_t uiColor;  ///< colour reference, red in the low byte

        SQmParam() = default;  ///< leaves the fields as they are
        SQmParam(const SQmParam& other) = default;
        QM_API SQmParam& operator=(const SQmParam& other);
        QM_API SQmParam& operator=(SQmParam&& other) noexcept;
    };

    /// The predefined tables, by index.
    enum EQmPredefLut : std::uint32_t {
        PredefLutDefault = 0,
        PredefLutRainbow,
        PredefLutIron,
        PredefLutGreenFire,
        PredefLutGreenFireBlue,
        PredefLutRedFire,
        PredefLutRedHot,
        PredefLutMagentaHot,
        PredefLutBrown,
        PredefLutLemonHot,
        PredefLutYellowPale,
        PredefLutRainbowContrast,
        PredefLutRainbowDark,
        PredefLutRedBelowGreenAbove,
        PredefLutRedOrGreen,
        PredefLutAltitude,
        PredefLutMagentaHotter,
        PredefLutRedHotter,
        PredefLutSunnyDay,
        PredefLutAltitude2,
        PredefLutCarribean,
        PredefLutCBMono,
        PredefLutCool,
        PredefLutCyanHot,
        PredefLutDesert,
        PredefLutEarthAndSky,
        PredefLutEdges,
        PredefLutGlasbey,
        PredefLutICA,
        PredefLutICA3,
        PredefLutICE,
        PredefLutInvertMono,
        PredefLutMagentaMid,
        PredefLutMorgenstemming,
        PredefLutMPLMagma,
        PredefLutMPLViridis,
        PredefLutParrot,
        PredefLutPastel,
        PredefLutPhysics,
        PredefLutPseudocolorBtoW,
        PredefLutSmart,
        PredefLutSunnyDay2,
        PredefLutSunrise,
        PredefLutSunset,
        PredefLutThallium,
        PredefLutUnionJack,
    };

    /// A colour table of 256 entries, red, green, blue.
    class QM_API SQmPredefLut {
      public:
        CQmStringW sName;        ///< as it is shown
        std::uint32_t uiId;      ///< EQmPredefLut, which is the index
        unsigned char* pColors;  ///< 768 bytes; not released with the object
        bool bSymmetric;         ///< false in all predefined tables

        SQmPredefLut();  ///< no name, no table
        SQmPredefLut(const SQmPredefLut& other);
        SQmPredefLut& operator=(const SQmPredefLut& other);
        virtual ~SQmPredefLut();
        virtual unsigned char* getLuts(double lo, double hi);
        virtual bool isAlreadyScaled();
        virtual bool isSymmetric(double* center);
    };

    /// A table of an application, made from a gradient. Copies share its two blocks, and the
    /// destructor releases both: of an object and its copy only one may be destroyed.
    class QM_API SQmExtendedLut : public SQmPredefLut {
      public:
        SQmGradientConfig sConfig;
        unsigned char* pScaled;  ///< 768 bytes scaled to a range, or null
        double dScaledLo;        ///< the range of pScaled
        double dScaledHi;

        SQmExtendedLut();
        SQmExtendedLut(const SQmExtendedLut& other);
        SQmExtendedLut& operator=(const SQmExtendedLut& other);
        ~SQmExtendedLut() override;
        unsigned char* getLuts(double lo, double hi) override;
        bool isAlreadyScaled() override;
        bool isSymmetric(double* center) override;
    };

    static std::vector<SQmPredefLut*>* vecPredefLuts;      ///< null before InitPredefLuts
    static std::vector<SQmExtendedLut*>* vecExtendedLuts;  ///< null before InitPredefLuts

    void* pLuts;                   ///< root of the tables: see the shapes; null: none
    std::uint8_t ucSrcBpc;         ///< each table has 2^ucSrcBpc entries; at most 16
    std::uint8_t ucComponents;     ///< tables, one for each source component
    std::uint8_t ucDstBpc;         ///< bits of a cell
    std::uint8_t ucDstComponents;  ///< cells of an entry: 1, or 3 (blue, green, red) for a colour
    CQmRangeMask rmComponents;     ///< the components that take part; 192 set bits after Alloc
    std::uint32_t uiReserved;      ///< 0
    std::uint16_t usReserved;      ///< 0
    /// Colours of over-exposed samples, or null. An entry a bit of the mask (its size counts), each
    /// of four fields as wide as a cell: blue, green, red as they are written, and a flag; if that
    /// is not 0, the inverse of what the component's table gives for the top value is written.
    void* pOverExpColor;
    void* pUnderExpColor;          ///< the same for samples of value 0
    std::uint32_t* pOverExpValue;  ///< a threshold a bit of the mask; null: the top value
    SQmParam* pParams;             ///< ucComponents records, or null when the set is not parametric
    bool bParallel;                ///< set by callers: float pictures are mapped by many threads
    std::int32_t iPredefLut;       ///< predefined table for the spectral renderers; -1: none

    /// No tables, all 0, an empty mask, `iPredefLut` -1.
    SQmLut();
    /// Alloc with the shape of the other, then Copy. The copy of an empty set has a full mask.
    SQmLut(const SQmLut& other);
    ~SQmLut();
    /// Free, Alloc with the shape of the other, then Copy. Nothing happens to the set itself.
    const SQmLut& operator=(const SQmLut& other);

    /// New tables, all cells 0, of the flat, colour or per-component shape. All 192 bits of the
    /// mask are set; exposure colours, thresholds and parametric state become null and are **not
    /// released**, nor are tables: Alloc is for sets that are new or were freed.
    ///
    /// The four shape fields are stored in any case. -9: more than 16 source bits, no component or
    /// no cell, `pLuts` as it was. -3: no memory, nothing new remains; `pLuts` as it was, in the
    /// flat shape null. When the first array of the per-component shape fails: 0, `pLuts` null.
    static int Alloc(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                     unsigned char ucDstBpc, unsigned char ucDstComponents);
    /// Alloc for one component and colours of three cells.
    static int AllocColor(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc);
    /// Alloc for one component and one cell: 8 source bits and 12 bits of a cell are 512 bytes.
    static int AllocSingle(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc);
    /// New tables of the shared shape, all cells 0. Mask, thresholds and parametric state stay,
    /// colours become null and are not released. Of one component the tables have the ordinary
    /// shape. -9: no component, or no memory for the first array; -3: no memory for another, or
    /// more than 2^31 - 1 bytes. Source bits are not limited to 16.
    static int CustomSpectralLutAlloc(SQmLut& lut, unsigned char ucSrcBpc,
                                      unsigned char ucComponents, unsigned char ucDstBpc,
                                      unsigned char ucDstComponents);
    /// Makes sure that the set has tables of this shape, not shared ones. If it has, nothing is
    /// touched; else Free and Alloc. That a set is shared is seen from two equal words at `pLuts`,
    /// which a flat table may hold as well, such as one of zeros: it is made anew.
    static int check_luts(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                          unsigned char ucDstBpc, unsigned char ucDstComponents);
    /// The same for the shared shape, with Free (where there are tables) and
    /// CustomSpectralLutAlloc; two equal words are right here, also those of a flat table.
    static int check_luts_spectral_ex(SQmLut& lut, unsigned char ucSrcBpc,
                                      unsigned char ucComponents, unsigned char ucDstBpc,
                                      unsigned char ucDstComponents);
    /// Contents between sets of equal shape: cells, mask, `bParallel`, `iPredefLut`, and parametric
    /// state, which `dst` gets or loses as `src` has it. Exposure colours and thresholds of `dst`
    /// stay. Nothing happens when `src` has no components or no cells. Where one of the two is
    /// shared, each table of `dst` becomes the (first) table of `src`.
    static void Copy(SQmLut& dst, const SQmLut& src);
    /// Releases tables, exposure colours, thresholds and parametric state. The shape fields stay;
    /// they must be those with which the tables were made.
    static void Free(SQmLut& lut);
    /// `ucComponents` records of parametric state, of any content. Throws std::bad_alloc.
    static void ReinitParametric(SQmLut& lut);
    static void FreeParametric(SQmLut& lut);

    /// Sets the colours from colour references, one for each of `rmComponents.GetSize()` bits (192
    /// after Alloc), top byte the flag. Null, or a **first** reference of 0, switches all off: 0.
    /// The old colours are gone in any case. A colour is (byte x 2^`ucDstBpc`) / 256: 255 becomes
    /// 255 at 8 bits, 4080 at 12, 65280 at 16. -2: not three cells, or more than 16 bits; -3.
    static int SetOverExpColor(SQmLut& lut, const unsigned int* puiColors);
    static int SetUnderExpColor(SQmLut& lut, const unsigned int* puiColors);
    /// Sets the first entry from one that has its final form (four bytes up to 8 bits, else four
    /// 16-bit words), of `uiBits`, which must be `ucDstBpc` (-4). A block that is there keeps its
    /// other entries, a new one has one entry. Null, or an entry whose first four bytes are 0 (16
    /// bits: no blue and no green), switches all off. -2: not three cells, or more than 16 bits;
    /// -3. With a code below 0 the old colours stay.
    static int SetOverExpColorArr(SQmLut& lut, const void* pEntry, unsigned int uiBits);
    static int SetUnderExpColorArr(SQmLut& lut, const void* pEntry, unsigned int uiBits);
    /// Sets the thresholds, one for each of `rmComponents.GetSize()` bits; null: none. Throws
    /// std::bad_alloc. Under-exposed is what is 0.
    static int SetOverExpValue(SQmLut& lut, const unsigned int* puiValues);

    // ----- Generators ----------------------------------------------------------------------------

    static int CreateLinearTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                 int dstHi);
    static int CreateLinearTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                  int dstHi);
    static int CreateGammaTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                int dstHi, double gamma);
    static int CreateGammaTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                 int dstHi, double gamma);
    static int CreateExpTable_1_1(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                  int dstHi);
    static int CreateLogaritmicTable_1_1(SQmLut& lut, unsigned char comp, int srcLo, int dstLo,
                                         int srcHi, int dstHi);
    static int CreateEqualizingTable_1_1(SQmLut& lut, unsigned char comp, SQmHisto* histo);
    static int CreateComposedTable(SQmLut& lut, SQmLut& outer, SQmLut& inner);
    static int CreateColorTable(SQmLut& lut, unsigned int color);
    static int CreateColorTableEx(SQmLut& lut, unsigned int color, SQmLut* src, bool bOver,
                                  unsigned int overColor, bool bUnder, unsigned int underColor);
    static int CreateMultiColorTable(SQmLut& lut, unsigned int* colors, unsigned char count);
    static int CreateMultiColorTableEx(SQmLut& lut, unsigned int* colors, unsigned char count,
                                       SQmLut* src, bool bOver, unsigned int overColor, bool bUnder,
                                       unsigned int underColor);
    static int CreateRainbowLUTTable(SQmLut& lut, SQmLut& src, int lutIndex, double lo, double hi);
    static int CreateRainbowLUTTable2(SQmLut& lut, SQmLut& src, int lutIndex, unsigned int srcLo,
                                      unsigned int srcHi, unsigned int dstLo, unsigned int dstHi);
    static int CreateRainbowLUTTableSpect_1Channel(SQmLut& lut, unsigned int comp, SQmLut& src,
                                                   int lutIndex);
    static int CreateRainbowLUTTableSpect_SameChannels(SQmLut& lut, SQmLut& src, int lutIndex);
    static int CreateGradientTableC1ToC3(void*& table, unsigned int bpc, int lutIndex, double srcLo,
                                         double srcHi, double dstLo, double dstHi);
    static void FreeGradientTable(void*& table);

    // ----- Predefined and extended tables --------------------------------------------------------

    static int InitPredefLuts();
    static SQmPredefLut* GetPredefLut(int index, bool bFallback);
    static unsigned int GetPredefLutsCount(bool bOnlyPredefined);
    static int GetPredefLutDescr(CQmStringW& name, unsigned int index);
    static unsigned int GetExtenedLutsCount();
    static int InsertExtenedLut(unsigned int index, const wchar_t* name, SQmGradientConfig* config);
    static int FreeExtenedLuts();
    static void SetCustomLut(unsigned char* colors);
    static int CreatePredefLut(SQmLut& lut, unsigned int index, double lo, double hi);
    static int CreatePredefLutEx(SQmLut& lut, EQmPredefLut id, double lo, double hi,
                                 double dReserved);
    static int CreatePredefLutFromLutParam(SQmLut& lut, SQmLutParam* param);
    static int CreatePredefSymmetricLutFromLutParam(SQmLut& lut, SQmLutParam* param);
};

static_assert(std::is_standard_layout_v<SQmLut> && sizeof(SQmLut) == 96);
static_assert(offsetof(SQmLut, rmComponents) == 16 && offsetof(SQmLut, pOverExpColor) == 56);
static_assert(sizeof(SQmLut::SQmParam) == 32);
