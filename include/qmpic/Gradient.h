#pragma once

#include <cstdint>
#include <limits>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

class CQmVariant;

/// A colour scale made by a user: up to ten nodes, each a position on a value axis with a colour.
/// Colours are words with red in bits 16 to 23, the other way round than a colour reference.
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

    /// The colour of one value in the range `lo` to `hi`.
    std::uint32_t GetColorForValue(double value, double lo, double hi);
    /// Fills 256 colour words.
    static void GetTabColorsFromConfig(SQmGradientConfig* config, unsigned int* colors, double lo,
                                       double hi);

    int SaveToVariant(CQmVariant* v);
    int LoadFromVariant(const CQmVariant* v);
};

/// The process-wide list of gradients. Not locked.
class QM_API SQmGradientConfigs {
  public:
    static int AddGradientConfig(SQmGradientConfig* config);
    static int DeleteGradientConfig(unsigned int index);
    static int DeleteGradientConfig(wchar_t* name);
    static SQmGradientConfig* GetGradientConfig(unsigned int index);
    static SQmGradientConfig* GetGradientConfig(const wchar_t* name);
    static unsigned int GetCount();
    static void Free();

    static int SaveToVariant(CQmVariant* v);
    static int LoadFromVariant(const CQmVariant* v);
};
