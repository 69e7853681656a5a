#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

namespace qmpic {

/// Working memory of a call, from the C heap, released at the end of the scope. Test it: it is null
/// when there is no memory.
template <class T>
class Scratch {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    explicit Scratch(size_t count)
        : data_(count <= SIZE_MAX / sizeof(T)
                    ? static_cast<T*>(std::malloc(count != 0 ? count * sizeof(T) : 1))
                    : nullptr) {}
    explicit operator bool() const { return data_ != nullptr; }
    T* get() const { return data_.get(); }
    T& operator[](size_t i) const { return data_.get()[i]; }

  private:
    struct Release {
        void operator()(T* p) const { std::free(p); }
    };
    std::unique_ptr<T, Release> data_;
};

}  // namespace qmpic
