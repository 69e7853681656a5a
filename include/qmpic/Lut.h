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

    // They fill tables that stand. N is 2^`ucSrcBpc`, the number of entries, and D is
    // 2^`ucDstBpc` - 1, the top value of a cell. Everything is cut, never rounded, but where it is
    // said. -4: no tables, or a set of another shape than is asked for; nothing is written then.
    // Cells of 0 bits have no bytes: 0. `pow` and `log10` are those of the C library, bit by bit;
    // a result that is no number becomes 0, and one beyond a limit the limit.

    /// A ramp from entry `srcLo`, which holds `dstLo`, to entry `srcHi`, which holds `dstHi`. Below
    /// is `dstLo`, from `srcHi` on `dstHi`, both *as they stand*: the low bits, not limited.
    /// Between them entry i is
    ///
    ///     (i - srcLo) * (dstHi - dstLo) / (srcHi - srcLo) + dstLo
    ///
    /// with the quotient cut toward zero, limited to 0 and D: in 32 bits that wrap for cells of a
    /// byte, in 64 for words. With 10, 0, 20, 200 entry 19 is 180. `srcLo` may be negative, and
    /// `srcHi` beyond the table. A switched-off component is 0, 0, N - 1, 0: zeros.
    ///
    /// A flat table is filled whatever `comp` is. Of a colour table cell `comp` of each row is
    /// filled, and all cells alike when `comp` is *greater* than their number; when it is equal,
    /// that is the cell behind each row, which is the first of the next one (the last row's is
    /// dropped). -4: `srcHi` <= `srcLo`, several components, or more than 16 bits.
    static int CreateLinearTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                 int dstHi);
    /// The same as a window: `dstLo` from entry `srcHi` on. With 10, 0, 20, 200 entry 19 is 180 and
    /// entry 20 is 0.
    static int CreateLinearTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                  int dstHi);
    /// CreateLinearTable bent by a gamma: a ramp value x, before it is limited, becomes
    /// pow(x / D, `gamma`) * D, limited to 0 and D. Both tails are bent, too. With a gamma of 1 it
    /// is the ramp. Of 8 bits and a gamma of 2, 51 (a fifth) becomes 10 (10.2).
    ///
    /// At 16 bits some hundred powers are computed, and not 65536, with the same result.
    static int CreateGammaTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                int dstHi, double gamma);
    /// The same as a window: `dstLo` *as it stands* on both sides. Unlike CreateLinearTable2 the
    /// ramp goes up to `srcHi` inclusive: with 10, 0, 20, 200 and a gamma of 1 entry 20 is 200 and
    /// entry 21 is 0.
    static int CreateGammaTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                 int dstHi, double gamma);
    /// A power of ten. With x = `srcHi` - `srcLo` + 1, r = `dstHi` - `dstLo`, M = 255 and L =
    /// log10(256) for cells of up to 8 bits, M = N - 1 and L = log10(N) for words:
    ///
    /// | entries                | up to 8 bits            | words                          |
    /// |------------------------|-------------------------|--------------------------------|
    /// | below `srcLo`          | 10^(dstLo / M * L) - 1  | log10(dstLo + 1) / L * M (sic) |
    /// | `srcLo` to `srcHi` - 1 | 10^((i - srcLo) / r * log10(x)) - 1 | the same           |
    /// | from `srcHi` on        | 10^(dstHi / M + L) - 1  | the same                       |
    ///
    /// cut and limited to 0 and 255 (also of fewer than 8 bits), or to 0 and D for words. Mark that
    /// the ramp divides by the span of the *destination*, which is right where both spans agree,
    /// that it does not start at `dstLo`, that the upper tail *adds* L, so that every `dstHi` above
    /// 0 leads to the top of bytes, and that words have the logarithm's lower tail. `comp` is not
    /// looked at. -4: `srcHi` <= `srcLo`, no flat table, or more than 16 bits.
    static int CreateExpTable_1_1(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                                  int dstHi);
    /// A logarithm, with the letters and limits of CreateExpTable_1_1: the ramp is
    /// log10(i - srcLo + 1) * r / log10(x), without `dstLo`, a tail log10(dst + 1) / L * M. With 0,
    /// 0, 255, 255 at 8 bits entry 1 is 31 (31.875).
    static int CreateLogaritmicTable_1_1(SQmLut& lut, unsigned char comp, int srcLo, int dstLo,
                                         int srcHi, int dstHi);
    /// Equalises: entry i becomes N * (counts below i) / (all counts), the last one N - 1 in any
    /// case. Entries behind the last bin that has counts *keep what they hold*. A histogram without
    /// counts gives zeros before the last entry. Sums are of 64 bits, and wrap.
    ///
    /// A flat table takes the histogram's first block (of several components the intensity). In a
    /// colour table the counts of component `comp` are taken, and row `comp` for the table: N cells
    /// from its first one on are filled, as far as the set goes. -4: depths of source, cells and
    /// histogram that are not all equal, more than 16 bits, several components, bins of neither 4
    /// nor 8 bytes, no histogram or no such component.
    static int CreateEqualizingTable_1_1(SQmLut& lut, unsigned char comp, SQmHisto* histo);
    /// `inner` first, then `outer`: cell c of row i of component k is cell c of `outer`'s row v of
    /// component k, v being at most N - 1 and
    ///
    /// | `inner` has                             | v is            |
    /// |-----------------------------------------|-----------------|
    /// | one component of one cell               | inner[i]        |
    /// | as many components as `outer`           | inner[k][i][c]  |
    /// | one component, a cell for each component | inner[i][k]     |
    ///
    /// `lut` takes `outer`'s mask, and the first of its exposure colours through
    /// SetOverExpColorArr and SetUnderExpColorArr, whose codes are lost. -4, nothing touched: sets
    /// without tables, `lut` and `outer` of different shape, or an `inner` whose depth of samples
    /// or of cells is not `outer`'s of samples. -4 after mask and colours: an `inner` of other
    /// components or cells, or of fewer cells than `outer`. -2: more than 16 bits of a cell. With
    /// more than 16 source bits 0, and the tables stay.
    static int CreateComposedTable(SQmLut& lut, SQmLut& outer, SQmLut& inner);
    /// A ramp to a colour: cell c of row i is i * byte c of `color` / (N - 1), *byte 0 first*. So a
    /// colour reference's red lands in cell 0, where the other tables have blue: 0x0000FF gives
    /// cell 0 a ramp to 255. Bytes are not scaled to fewer bits. One entry: zeros. -4: not one
    /// component of three cells, or more than 8 bits.
    static int CreateColorTable(SQmLut& lut, unsigned int color);
    /// Values times a colour. `src` has mapped the samples: a table with the set's `ucSrcBpc` and
    /// cells that wide, one for all three cells of a row, or three. With s its value, cell 0 is
    /// s * blue / (N - 1), cell 1 green, cell 2 red: *the other way round* than CreateColorTable.
    /// With `bOver` a row of whose values any is N - 1 is `overColor`, else with `bUnder` one of
    /// whose values any is 0 is `underColor`.
    ///
    /// Without `src` it is CreateColorTable. -4: not one component of three cells of 8 bits, more
    /// than 16 source bits, or another `src`.
    static int CreateColorTableEx(SQmLut& lut, unsigned int color, SQmLut* src, bool bOver,
                                  unsigned int overColor, bool bUnder, unsigned int underColor);
    /// Ramps to `count` colours, one for each component: cell 0 of row i is blue * i / (N - 1),
    /// cell 1 green, cell 2 red, in 32 bits without sign. Words take a byte * D / 255 for a colour,
    /// of 12 bits 128 as 2055; up to 8 bits it is the byte, whatever the depth. In a set with a
    /// shared table the last colour stays. -4: `count` is not the number of components, not three
    /// cells, no colours, or more than 16 bits. Throws std::bad_alloc before anything is written.
    static int CreateMultiColorTable(SQmLut& lut, unsigned int* colors, unsigned char count);
    /// Values times colours. `src` is one table of a cell for each component, of the set's
    /// `ucSrcBpc` in samples and cells; s is its value for a row and component. Colours as in
    /// CreateMultiColorTable.
    ///
    /// Up to 8 bits: s * colour / (N - 1); a row whose s is N - 1 is `overColor` with `bOver`, else
    /// one whose s is 0 `underColor` with `bUnder`. Words: s * colour / *D*, the top of the
    /// destination, in 32 bits *with a sign*, which wrap: at 16 bits 65535 * 65535 is -131071, and
    /// leads to -2, 65534. They are never marked.
    ///
    /// Without `src` it is CreateMultiColorTable. -4: as there, or another `src`. More than 16
    /// source bits: 0, and nothing is done. Throws std::bad_alloc before anything is written.
    static int CreateMultiColorTableEx(SQmLut& lut, unsigned int* colors, unsigned char count,
                                       SQmLut* src, bool bOver, unsigned int overColor, bool bUnder,
                                       unsigned int underColor);

    // Tables through predefined colours. The set has three cells of 8 bits, and at most 16 source
    // bits; `src` is flat, and read in bytes when the *set's* `ucSrcBpc` is at most 8, else in
    // words. Where it is otherwise the set is left as it is, *and the result is 0 all the same*.
    // The position of a value among the 256 colours is value * 256 / N, at most 255.

    /// Row i is CQmPredefLUTs::GetLUTEntry of value `src`[i] in the range N, blue, green, red:
    /// `lutIndex` 255 is the custom table, and an index without a table gives greys. One component.
    static int CreateRainbowLUTTable(SQmLut& lut, SQmLut& src, int lutIndex, double lo, double hi);
    /// The same in entries `srcLo` to `srcHi`, of the value
    /// (`dstHi` - `dstLo`) * `src`[i] / N + `dstLo`, rounded. Entries outside are grey,
    /// i * 256 / N. One component.
    static int CreateRainbowLUTTable2(SQmLut& lut, SQmLut& src, int lutIndex, unsigned int srcLo,
                                      unsigned int srcHi, unsigned int dstLo, unsigned int dstHi);
    /// The same, of every entry, in the table of one component of many. The colours are those of
    /// GetPredefLut(`lutIndex`, true): 255 is *not* the custom table, and without a table nothing
    /// is done. Nor is it for a `comp` that does not exist.
    static int CreateRainbowLUTTableSpect_1Channel(SQmLut& lut, unsigned int comp, SQmLut& src,
                                                   int lutIndex);
    /// The same in the tables of all components, also a shared one.
    static int CreateRainbowLUTTableSpect_SameChannels(SQmLut& lut, SQmLut& src, int lutIndex);
    /// Makes a table without a set: 2^`bpc` rows of three cells, blue, green, red, of a byte at 8
    /// bits and words above, to be released with FreeGradientTable. The four fractions are limited
    /// to 0 and 1. With t = i / 2^`bpc`, rows from `srcLo` to `srcHi` have the colour
    ///
    ///     ((t - srcLo) / (srcHi - srcLo) * (dstHi - dstLo) + dstLo) * 256
    ///
    /// rounded, halves up, at most 255, of the stored colours of GetPredefLut(`lutIndex`, true),
    /// each times 2^`bpc` / 256: white is 4080 at 12 bits. Rows outside hold i in all cells, and so
    /// do all when `srcLo` >= `srcHi` or there are no colours. -9: less than 8 bits or more than
    /// 16, or a negative index; `table` as it was. -3: no memory, `table` is null.
    static int CreateGradientTableC1ToC3(void*& table, unsigned int bpc, int lutIndex, double srcLo,
                                         double srcHi, double dstLo, double dstHi);
    /// Releases such a table and makes the pointer null. Null is allowed.
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
