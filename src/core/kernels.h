#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/frame.h"

/// Kernels by name: a family is a list of them, and a name says for what layout a kernel is. The
/// list is what entries choose from and what tests, benchmarks and the export check walk.

namespace qmpic {

/// 3x16 is 3 components in 16 bits. 0 is any: N or M components, N or M bits.
struct Layout {
    uint32_t components = 0, bits = 0;
    bool real = false;  // Nxfloat: 32 bits of float
    bool operator==(const Layout&) const = default;
};

struct Layouts {
    Layout source, destination;
};

namespace detail {

consteval bool read_number(std::string_view& text, uint32_t& value) {
    const size_t before = text.size();
    if (text.starts_with('N') || text.starts_with('M')) return text.remove_prefix(1), true;
    for (; !text.empty() && text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1))
        value = value * 10 + static_cast<uint32_t>(text[0] - '0');
    return text.size() != before;
}

consteval bool read_layout(std::string_view word, Layout& layout) {
    Layout found;
    if (!read_number(word, found.components) || !word.starts_with('x')) return false;
    word.remove_prefix(1);
    if (word == "float")
        found.bits = 32, found.real = true;
    else if (!read_number(word, found.bits) || !word.empty())
        return false;
    layout = found;
    return true;
}

}  // namespace detail

/// What a kernel's name says. The words between underscores that read COUNTxBITS, COUNT a number, N
/// or M, BITS likewise or "float", are layouts: the first is the source's and the second the
/// destination's, and one that stands alone is both. component_lut3_Mx8_to_3x8 is Mx8 to 3x8.
consteval Layouts layouts_of(std::string_view name) {
    Layout found[2];
    size_t count = 0;
    while (!name.empty() && count < 2) {
        const std::string_view word = name.substr(0, name.find('_'));
        if (detail::read_layout(word, found[count])) ++count;
        name.remove_prefix(word.size() == name.size() ? word.size() : word.size() + 1);
    }
    if (count == 0) throw "the name holds no layout";  // does not compile
    return {found[0], found[count - 1]};
}

template <class Kernel>
struct NamedKernel {
    std::string_view name;
    Kernel* run;
    Layout source, destination;

    consteval NamedKernel(const char* text, Kernel* kernel)
        : NamedKernel(text, kernel, layouts_of(text)) {}
    /// For names that hold no layout, such as convertcomponent_8_to_16.
    consteval NamedKernel(const char* text, Kernel* kernel, Layouts stated)
        : name(text), run(kernel), source(stated.source), destination(stated.destination) {}
};

template <class Kernel, size_t n>
class KernelTable {
  public:
    using Function = Kernel;

    consteval explicit KernelTable(const NamedKernel<Kernel> (&list)[n])
        : list_(std::to_array(list)) {}

    /// The kernel for sources of a format, or null: that of the very component count, else the
    /// one for any count.
    constexpr Kernel* find(uint32_t components, uint32_t bpc) const {
        return find_stored(components, storage_bits(bpc));
    }

    /// The same by storage bits, for the entries with depth classes of their own.
    constexpr Kernel* find_stored(uint32_t components, uint32_t bits) const {
        Kernel* any = nullptr;
        if (bits == 0) return any;
        for (const auto& kernel : list_) {
            if (kernel.source.bits != bits) continue;
            if (kernel.source.components == components) return kernel.run;
            if (kernel.source.components == 0) any = kernel.run;
        }
        return any;
    }

    /// The same by the storage bits of source and destination.
    constexpr Kernel* find_between(uint32_t components, uint32_t from, uint32_t to) const {
        Kernel* any = nullptr;
        for (const auto& kernel : list_) {
            if (kernel.source.bits != from || kernel.destination.bits != to) continue;
            if (kernel.source.components == components) return kernel.run;
            if (kernel.source.components == 0) any = kernel.run;
        }
        return any;
    }

    constexpr auto begin() const { return list_.begin(); }
    constexpr auto end() const { return list_.end(); }

  private:
    std::array<NamedKernel<Kernel>, n> list_;
};

/// Calls a kernel that was found with the arguments of its entry, or says that there is none.
template <class Kernel, class... Arguments>
int call(Kernel* kernel, Arguments... arguments) {
    if (kernel == nullptr) return QM_NO_KERNEL;
    return kernel(arguments...);
}

/// constexpr auto kFamily = kernels<FamilyKernel>({K(family_1x8), K(family_Nx8)});
/// with #define K(name) {#name, name}, so that name and function stay together.
template <class Kernel, size_t n>
consteval KernelTable<Kernel, n> kernels(const NamedKernel<Kernel> (&list)[n]) {
    return KernelTable<Kernel, n>(list);
}

}  // namespace qmpic
