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

    /// A colour table of 256 entries, red, green, blue. The four slots of its virtual table are the
    /// destructor, getLuts, isAlreadyScaled and isSymmetric, in this order. Copies share `pColors`;
    /// to copy throws std::bad_alloc when there is no memory for the name.
    class QM_API SQmPredefLut {
      public:
        CQmStringW sName;        ///< as it is shown
        std::uint32_t uiId;      ///< EQmPredefLut, which is the index
        unsigned char* pColors;  ///< 768 bytes or null; not released with the object. Most of the
                                 ///< predefined tables lie in read-only memory: never write there
        bool bSymmetric;         ///< false in all predefined tables

        SQmPredefLut();  ///< no name, index 0, no table
        SQmPredefLut(const SQmPredefLut& other);
        SQmPredefLut& operator=(const SQmPredefLut& other);
        virtual ~SQmPredefLut();
        /// The 768 bytes for values from `lo` to `hi`: here `pColors`, whatever the range.
        virtual unsigned char* getLuts(double lo, double hi);
        /// Do the colours belong to values and not to parts of a range? Here never.
        virtual bool isAlreadyScaled();
        /// `bSymmetric`. Writes 0.0 to `center` in any case, unless that is null.
        virtual bool isSymmetric(double* center);
    };

    /// A table of an application, made from a gradient. **Copies share its two blocks, and the
    /// destructor releases both: of an object and its copies only one may be destroyed** with its
    /// blocks; set the pointers of the others to null before. The library keeps no copies.
    class QM_API SQmExtendedLut : public SQmPredefLut {
      public:
        SQmGradientConfig sConfig;
        unsigned char* pScaled;  ///< 768 bytes scaled to a range, or null
        double dScaledLo;        ///< the range of pScaled
        double dScaledHi;

        SQmExtendedLut();  ///< no name, no tables, range 0.0 to 0.0
        SQmExtendedLut(const SQmExtendedLut& other);
        SQmExtendedLut& operator=(const SQmExtendedLut& other);
        /// Releases `pColors` and `pScaled` through CQmAlloc::Free.
        ~SQmExtendedLut() override;
        /// `pColors`, unless isAlreadyScaled() and the range is another than 0.0 to 0.0: then
        /// `pScaled`, made anew for the range when one of its ends is off by more than
        /// (`hi` - `lo`) / 1000: made for 100 to 200 it serves 100.05 to 199.95, too. What is made
        /// stays until then; so a range that is not finite gives what is there, and that may be
        /// null. Null also when there is no memory. Writes to the object: one thread at a time.
        unsigned char* getLuts(double lo, double hi) override;
        /// Is the configuration one of values, or symmetric?
        bool isAlreadyScaled() override;
        /// The configuration's flag; unlike above `center` is written only when it is set.
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

    // Colour tables are known by their index: 0 to 45 are predefined, behind them come the extended
    // tables. `docs/gallery.md` shows them. Nothing here is locked: InitPredefLuts,
    // InsertExtenedLut, FreeExtenedLuts and SetCustomLut must not run beside readers.

    /// Makes the lists, once: a second call does nothing. Always 0. The predefined tables live to
    /// the end of the process. When memory fails none of them is in the list, and the next call
    /// tries again.
    ///
    /// Tables 19 to 45 are gradients with nodes at 10, 20 ... 100 percent. The blend between nodes
    /// brings every colour to full brightness, so a scale like "Invert-Mono" stays near white up to
    /// entry 254 (red 255, green 177, blue 162); its entry 255 is the last node, (32, 22, 20).
    /// "Rainbow Dark" is "Rainbow" whose entry k below 20 is entry 20 times k / 20, cut.
    static int InitPredefLuts();
    /// The table of an index, also an extended one. An index at or beyond the count gives table 0
    /// with `bFallback`: 46 without extended tables. Else, and for an index below 0 or before
    /// InitPredefLuts, an empty object without name and table. Never null.
    static SQmPredefLut* GetPredefLut(int index, bool bFallback);
    /// Predefined tables, and extended ones unless `bOnlyPredefined`. 0 before InitPredefLuts.
    static unsigned int GetPredefLutsCount(bool bOnlyPredefined);
    /// The name of GetPredefLut(index, true). 0; -3: no memory, `name` as it was.
    static int GetPredefLutDescr(CQmStringW& name, unsigned int index);
    static unsigned int GetExtenedLutsCount();
    /// Sets the name and the gradient of extended table `index`, from 0, and makes its colours for
    /// the range 0 to 100, those that the gradient leaves open black. An index at or beyond the
    /// count appends a table; **the index does not say where**: 7 in an empty list makes table 0,
    /// which is 46 for GetPredefLut. Calls InitPredefLuts. A table that is replaced keeps its
    /// `pScaled`, for the range 0.0 to 0.0. Always 0: also for null, which does nothing, and when
    /// memory fails, which leaves all as it was.
    static int InsertExtenedLut(unsigned int index, const wchar_t* name, SQmGradientConfig* config);
    /// Destroys the extended tables. 0.
    static int FreeExtenedLuts();
    /// Copies 768 bytes, 256 times red, green, blue, into the custom table, which CQmPredefLUTs
    /// reads by index 255 and which is a grey ramp before. Null does nothing.
    static void SetCustomLut(unsigned char* colors);

    // The sets of the four calls below have one component and three cells of exactly 8 bits, of
    // any number N of entries; others give -4 and stay as they are, as do sets without tables. -9:
    // there is no such colour table (before InitPredefLuts; an index of 2^31 or more), or `param`
    // is null. Index 255 is no custom table here. Of entry k of the colours cell 0 gets blue, cell
    // 1 green, cell 2 red.

    /// Entry i gets colour i x 256 / N of getLuts(lo, hi): of 1024 entries, 4 have the same colour.
    static int CreatePredefLut(SQmLut& lut, unsigned int index, double lo, double hi);
    /// The same for the predefined table whose `uiId` is `id`. -9: there is none, or it has no
    /// colours. The third number is not read.
    static int CreatePredefLutEx(SQmLut& lut, EQmPredefLut id, double lo, double hi,
                                 double dReserved);
    /// The colours of `uiGradient` between the levels of component 0 (GetMinSrcDbl(0) x N to
    /// GetMaxSrcDbl(0) x N), with its gamma: k = (((i - low) / (high - low))^gamma) x 256, cut and
    /// kept within 0 to 255; with a gamma of exactly 1.0 without a power. What is no number is 0.
    /// getLuts is asked for the levels within the global range. 256 entries, levels 0.25 to 0.75
    /// and gamma 1.0: entry 96 gets colour 64. A symmetric table continues as the next call.
    static int CreatePredefLutFromLutParam(SQmLut& lut, SQmLutParam* param);
    /// The colours, of getLuts(0.0, 100.0), on both sides of the table's centre c, or 0.0. As far
    /// as (high - low) / 2 below it they come from the lower half of the table, with an exponent of
    /// **1 / gamma**, as far above it from the upper half, with gamma; beyond them the first and
    /// the last colour. The lower stretch ends in front of entry trunc(N x c). Where 1 / gamma is
    /// even the entries below that stretch are not the first colour but mirrored ones.
    static int CreatePredefSymmetricLutFromLutParam(SQmLut& lut, SQmLutParam* param);
};

static_assert(std::is_standard_layout_v<SQmLut> && sizeof(SQmLut) == 96);
static_assert(offsetof(SQmLut, rmComponents) == 16 && offsetof(SQmLut, pOverExpColor) == 56);
static_assert(sizeof(SQmLut::SQmParam) == 32);
