#pragma once

#include <cstdint>
#include <limits>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

class CQmVariant;

/// A colour scale made by a user: up to ten nodes, each a position on a value axis with a colour.
/// Colours are words with red in bits 16 to 23, the other way round than a colour reference. A new
/// one has no nodes. Copies of one with a long name throw std::bad_alloc without memory.
class QM_API SQmGradientConfig {
  public:
    struct SNode {
        double m_dNodeVal = std::numeric_limits<double>::quiet_NaN();  ///< NaN: not in use
        std::uint32_t m_uiNodeColor = 0;
    };

    SNode sNodes[10];            ///< in any order
    bool m_bInterpolate = true;  ///< blend between nodes, else steps
    bool m_bAbsolute = false;    ///< positions are values, else percent of a range
    bool m_bSymmetric = false;   ///< symmetric about m_dCenter
    double m_dCenter = 0.0;
    CQmStringW m_sName;

    SQmGradientConfig();
    SQmGradientConfig(const SQmGradientConfig& other);
    ~SQmGradientConfig();
    SQmGradientConfig& operator=(const SQmGradientConfig& other);

    /// The colour of one value in the range `lo` to `hi`. Without m_bAbsolute the value becomes its
    /// percentage of the range, and where that is empty the colour is that of node 0. The nearest
    /// node below and the nearest above are sought, the first of equally near ones; a node at the
    /// value decides alone, as does the only neighbour. Between two, each byte is blended and
    /// rounded, halves away from zero, and the top byte is 0, or without m_bInterpolate the lower
    /// node's word is taken. 0 for NaN.
    ///
    /// Only node 0 tells whether there are nodes: if it is not in use, the colour is that of
    /// QM_RGBRainbowColorTable, entry trunc((value - lo) / (hi - lo) * 255) of 256, the nearest end
    /// for values outside, entry 0 for an empty range and for NaN. Any number of threads may call,
    /// also for the first time.
    std::uint32_t GetColorForValue(double value, double lo, double hi);
    /// Fills 256 colour words for the range `lo` to `hi`. Positions are compared with the range as
    /// they stand, whatever m_bAbsolute says. Without a node inside the table stays as it is. Of
    /// several nodes at one place the later ones move up by steps of 0.001 until they are free or
    /// beyond `hi`. Where no node stands at an end of the range, one is added: with m_bInterpolate
    /// and a node outside of that end, of the blend of the two by CalcColorEx in whole percents,
    /// else of the colour of the nearest node inside. Then RecalculateGradientColors or, without
    /// m_bInterpolate, RecalculateGradientColorsNoInterpolate; see there why blends are fully
    /// bright and why the last node's colour is not seen in steps. Nothing is allocated.
    static void GetTabColorsFromConfig(SQmGradientConfig* config, unsigned int* colors, double lo,
                                       double hi);

    /// Makes `v` a list "SQmGradientConfig" of all fields, see docs/stored-form.md. 0; -9 for null;
    /// -3.
    int SaveToVariant(CQmVariant* v);
    /// What is absent stays as it was; a node that is stored as not valid becomes NaN. 0; -9 for
    /// null and for a variant of another name; -3.
    int LoadFromVariant(const CQmVariant* v);
};

/// The process-wide list of gradients. Not locked. Copies are kept until they are deleted; pointers
/// to them stay good until then. An index is to be written with a u, `GetGradientConfig(0u)`: a
/// plain 0 could be a null name as well. Null is the empty name.
class QM_API SQmGradientConfigs {
  public:
    /// Appends a copy.
    /// @return 0; -9 for null
    /// @throws std::length_error "list too long" for more than the list can count, std::bad_alloc
    ///         without memory; the list is then as it was
    static int AddGradientConfig(SQmGradientConfig* config);
    /// Removes one.
    /// @return 0; -9 for an index behind the end
    static int DeleteGradientConfig(unsigned int index);
    /// Removes the first of this name.
    /// @return 0; -9 where there is none
    static int DeleteGradientConfig(wchar_t* name);
    /// Null for an index behind the end.
    static SQmGradientConfig* GetGradientConfig(unsigned int index);
    /// The first of this name, or null.
    static SQmGradientConfig* GetGradientConfig(const wchar_t* name);
    static unsigned int GetCount();
    /// Empties the list.
    static void Free();

    /// Makes `v` a list "CustomLUTs" of all gradients. 0; -9 for null; -3.
    static int SaveToVariant(CQmVariant* v);
    /// Replaces the gradients of the list by those that are stored, up to the first element that is
    /// none. 0; -9 for null and for a variant of another name, which leaves the list as it was; -3.
    static int LoadFromVariant(const CQmVariant* v);
};
