#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kernel_lists.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

std::string output_of(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    for (int c; pipe && (c = fgetc(pipe.get())) != EOF;) text += static_cast<char>(c);
    return text;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t begin = 0, end; (end = text.find('\n', begin)) != text.npos; begin = end + 1)
        lines.push_back(text.substr(begin, end - begin));
    return lines;
}

using Names = std::map<std::string, uint32_t>;  // name, number of overloads

Names documented_names() {
    std::ifstream file(QMPIC_EXPORTED_NAMES);
    Names names;
    std::string name;
    for (uint32_t count = 0; file >> name;) {
        if (name[0] == '#')
            std::getline(file, name);
        else if (file >> count)
            names[name] = count;
    }
    return names;
}

// Constructors and destructors have several symbols with one demangled text.
Names exported_names() {
    const auto lines =
        lines_of(output_of("nm -D --defined-only -C --format=just-symbols " QMPIC_LIBRARY));
    const std::set<std::string> symbols(lines.begin(), lines.end());
    Names names;
    for (const std::string& symbol : symbols)
        if (!symbol.starts_with("typeinfo") && !symbol.starts_with("vtable for ") &&
            !symbol.starts_with("__odr_asan."))  // a sanitizer's own marks
            ++names[symbol.substr(0, symbol.find('('))];
    return names;
}

TEST(Exports, AreTheDocumentedNames) {
    const Names documented = documented_names(), exported = exported_names();
    ASSERT_GT(documented.size(), 100u);
    for (const auto& [name, count] : exported)
        EXPECT_TRUE(documented.contains(name)) << name << " is exported but not documented";
    for (const auto& [name, count] : documented) {
        const auto found = exported.find(name);
        EXPECT_EQ(found == exported.end() ? 0 : found->second, count) << name;
    }
}

TEST(Exports, TypeInformationIsOfOurClassesAlone) {
    for (const std::string& symbol :
         lines_of(output_of("nm -D --defined-only -C --format=just-symbols " QMPIC_LIBRARY)))
        if (const size_t at = symbol.find(" for "); at != symbol.npos) {
            const std::string name = symbol.substr(at + 5);
            EXPECT_TRUE(name.starts_with("CQm") || name.starts_with("SQm")) << symbol;
        }
}

TEST(Exports, PlainKernelsAreThoseOfTheLists) {
    std::set<std::string> listed, documented;
    for_each_kernel_list([&](const auto& list) {
        for (const auto& kernel : list) listed.insert(std::string(kernel.name));
    });
    for (const auto& [name, count] : documented_names())
        if (name.find("::") == name.npos && !name.starts_with("QM_") && name != "DiagAssertW" &&
            name != "g_AcosLUTs")
            documented.insert(name);
    EXPECT_EQ(listed, documented);
}

TEST(Exports, EachHasATest) {
    std::set<std::string> tested;
    for (const auto& one : Cases::kernels()) tested.insert(one.name);
    for (const auto& one : Cases::entries()) tested.insert(one.name.substr(0, one.name.find(' ')));
    tested.insert(Cases::others().begin(), Cases::others().end());
    for (const auto& [name, count] : documented_names())
        EXPECT_TRUE(tested.contains(name)) << name << " has no case";
}

// Memory, threads and arithmetic, and what the language's runtime needs of the C library.
TEST(Imports, AreMemoryThreadsAndMathematics) {
    static const std::set<std::string> allowed{
        // memory
        "malloc", "calloc", "free", "memcpy", "memmove", "memset", "memcmp", "operator new",
        "operator new[]", "operator delete", "operator delete[]", "std::__throw_bad_alloc",
        "std::__throw_bad_array_new_length",
        // threads
        "GOMP_parallel", "GOMP_barrier", "omp_get_num_threads", "omp_get_thread_num",
        "omp_get_num_procs", "omp_get_max_threads", "pthread_mutex_lock", "pthread_mutex_unlock",
        "pthread_mutex_trylock", "sched_yield",  // two locks without an order
        "std::__throw_system_error", "std::thread::_M_start_thread", "std::thread::join",
        "std::thread::_State::~_State",
        "typeinfo for std::thread::_State",  // one thread, of stretches by blocks
        // mathematics
        "acos", "acosf", "cos", "cosf", "log", "log10", "logf", "pow", "powf", "round", "sincosf",
        "sinf", "sqrt", "sqrtf", "__popcountdi2",
        // lists, maps and wide text
        "std::__detail::_List_node_base::_M_hook", "std::__detail::_List_node_base::_M_unhook",
        "std::_Rb_tree_increment", "std::__throw_length_error", "std::length_error::length_error",
        "std::length_error::~length_error", "typeinfo for std::length_error", "wcslen", "wmemcmp",
        "wmemcpy", "wmemmove", "wmemset",
        // the processor, asked through the C library
        "__x86_get_cpuid_feature_leaf",
        // exceptions and type information
        "__gxx_personality_v0", "_Unwind_Resume", "__cxa_begin_catch", "__cxa_end_catch",
        "__cxa_rethrow", "__cxa_allocate_exception", "__cxa_free_exception", "__cxa_throw",
        "__cxa_call_unexpected", "__cxa_throw_bad_array_new_length", "std::terminate",
        "std::bad_alloc::~bad_alloc", "typeinfo for std::bad_alloc", "vtable for std::bad_alloc",
        "vtable for __cxxabiv1::__class_type_info", "vtable for __cxxabiv1::__si_class_type_info",
        "__cxa_guard_acquire", "__cxa_guard_release", "__cxa_guard_abort",
        // start, end and stack check of a shared object
        "__cxa_finalize", "__cxa_atexit", "__gmon_start__", "_ITM_deregisterTMCloneTable",
        "_ITM_registerTMCloneTable", "__stack_chk_fail", "__tls_get_addr"};
    if (output_of("nm -D --undefined-only " QMPIC_LIBRARY).find("san_") != std::string::npos)
        return;  // a sanitizer asks for much
#ifdef __clang__
    return;  // another OpenMP runtime with other names
#endif
    for (std::string symbol :
         lines_of(output_of("nm -D --undefined-only -C --format=just-symbols " QMPIC_LIBRARY))) {
        symbol = symbol.substr(0, symbol.find('@'));
        symbol = symbol.substr(0, symbol.find('('));
        EXPECT_TRUE(allowed.contains(symbol)) << symbol;
    }
}

std::vector<std::string> words_of(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}
uint64_t hexadecimal(const std::string& word) { return std::strtoull(word.c_str(), nullptr, 16); }

/// The functions whose addresses the loader finds in .init_array. The C runtime has one of its own.
std::vector<std::string> initialisers() {
    uint64_t first = 0, end = 0;
    for (const std::string& line : lines_of(output_of("readelf -SW " QMPIC_LIBRARY)))
        if (const size_t name = line.find(".init_array "); name != line.npos) {
            const auto words = words_of(line.substr(name));  // name, type, address, offset, size
            first = hexadecimal(words.at(2));
            end = first + hexadecimal(words.at(4));
        }
    std::map<uint64_t, std::string> functions;
    for (const std::string& line : lines_of(output_of("nm -C " QMPIC_LIBRARY)))
        if (line.find(" t ") == 16) functions[hexadecimal(line)] = line.substr(19);
    std::vector<std::string> names;
    for (const std::string& line : lines_of(output_of("readelf -rW " QMPIC_LIBRARY))) {
        const auto words = words_of(line);  // offset, info, type, address
        if (words.size() == 4 && words[2] == "R_X86_64_RELATIVE" &&
            hexadecimal(words[0]) >= first && hexadecimal(words[0]) < end)
            names.push_back(functions[hexadecimal(words[3])]);
    }
    return names;
}

// And nothing else: no constructor of a global, which could meet a library that is not ready.
TEST(Exports, NothingRunsWhenTheLibraryIsLoaded) {
    const std::string symbols = output_of("nm -C " QMPIC_LIBRARY);
    EXPECT_EQ(symbols.find("_GLOBAL__sub_I"), std::string::npos);
    if (symbols.find("san_") != std::string::npos) return;  // a sanitizer has its own
    EXPECT_EQ(initialisers(), (std::vector<std::string>{"(anonymous namespace)::fill_arc_cosines()",
                                                        "frame_dummy"}));
}

}  // namespace
}  // namespace qmpic::test
