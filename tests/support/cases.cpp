#include "support/cases.h"

namespace qmpic::test {

// Made on first use: files add their cases before main, in no particular order.
std::vector<KernelCase>& Cases::kernels() {
    static std::vector<KernelCase> all;
    return all;
}
std::vector<EntryCase>& Cases::entries() {
    static std::vector<EntryCase> all;
    return all;
}
std::vector<std::string>& Cases::others() {
    static std::vector<std::string> all;
    return all;
}

bool add_cases(std::vector<KernelCase> kernels, std::vector<EntryCase> entries,
               std::vector<std::string> others) {
    for (auto& one : kernels) Cases::kernels().push_back(std::move(one));
    for (auto& one : entries) Cases::entries().push_back(std::move(one));
    for (auto& one : others) Cases::others().push_back(std::move(one));
    return true;
}

}  // namespace qmpic::test
