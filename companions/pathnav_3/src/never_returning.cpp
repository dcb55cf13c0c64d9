#include "never_returning.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace pathnav_3 {
namespace {

constexpr bool isDigit(char c)
{
    return '0' <= c && c <= '9';
}

// Functions that end the process or the thread, or leave by a jump or an exception, whatever they
// are given. What comes back for some arguments, as error(3) and execve(2) do, is none of them.
// Sorted, as they are looked up.
constexpr std::array g_names = std::to_array<std::string_view>({
    "Py_FatalError",
    "_Exit",
    "_Py_FatalErrorFunc",
    "_Unwind_Resume",
    "_ZN10__cxxabiv111__terminateEPFvvE",
    "_ZN10__cxxabiv112__unexpectedEPFvvE",
    "_ZNKSt16nested_exception14rethrow_nestedEv",
    "_ZSt10unexpectedv",
    "_ZSt17rethrow_exceptionNSt15__exception_ptr13exception_ptrE",
    "_ZSt21__glibcxx_assert_failPKciS0_S0_",
    "_ZSt9terminatev",
    "____longjmp_chk",
    "__assert",
    "__assert_fail",
    "__assert_fail_base",
    "__assert_perror_fail",
    "__chk_fail",
    "__clang_call_terminate",
    "__cxa_bad_cast",
    "__cxa_bad_typeid",
    "__cxa_call_terminate",
    "__cxa_call_unexpected",
    "__cxa_deleted_virtual",
    "__cxa_pure_virtual",
    "__cxa_rethrow",
    "__cxa_throw",
    "__cxa_throw_bad_array_length",
    "__cxa_throw_bad_array_new_length",
    "__fortify_fail",
    "__libc_assert_fail",
    "__libc_fatal",
    "__libc_longjmp",
    "__libc_siglongjmp",
    "__libc_start_call_main",
    "__libc_start_main",
    "__longjmp",
    "__longjmp_chk",
    "__malloc_assert",
    "__pthread_exit",
    "__pthread_unwind",
    "__pthread_unwind_next",
    "__stack_chk_fail",
    "__stack_chk_fail_local",
    "__ubsan_handle_builtin_unreachable",
    "__ubsan_handle_missing_return",
    "_dl_fatal_printf",
    "_dl_reloc_bad_type",
    "_dl_signal_error",
    "_dl_signal_exception",
    "_exit",
    "_gfortran_error_stop_numeric",
    "_gfortran_error_stop_string",
    "_gfortran_os_error",
    "_gfortran_os_error_at",
    "_gfortran_runtime_error",
    "_gfortran_runtime_error_at",
    "_gfortran_stop_numeric",
    "_gfortran_stop_string",
    "_longjmp",
    "abort",
    "err",
    "errx",
    "exit",
    "longjmp",
    "malloc_printerr",
    "pthread_exit",
    "quick_exit",
    "runtime.fatalpanic",
    "runtime.fatalthrow",
    "runtime.goexit1",
    "runtime.gopanic",
    "runtime.throw",
    "rust_begin_unwind",
    "rust_panic",
    "siglongjmp",
    "thrd_exit",
    "verr",
    "verrx",
});
static_assert(std::is_sorted(g_names.begin(), g_names.end()));

// The same of Rust, where a hash or more of the path follows.
constexpr std::array g_beginnings = std::to_array<std::string_view>({
    "_ZN3std7process4exit17h",
    "_ZN3std7process5abort17h",
    "_ZN3std9panicking11begin_panic17h",
    "_ZN3std9panicking20rust_panic_with_hook17h",
    "_ZN4core3str16slice_error_fail17h",
    "_ZN4core4cell22panic_already_borrowed17h",
    "_ZN4core4cell30panic_already_mutably_borrowed17h",
    "_ZN4core5slice5index22slice_index_order_fail17h",
    "_ZN4core5slice5index24slice_end_index_len_fail17h",
    "_ZN4core5slice5index26slice_start_index_len_fail17h",
    "_ZN4core6option13expect_failed17h",
    "_ZN4core6option13unwrap_failed17h",
    "_ZN4core6result13unwrap_failed17h",
    "_ZN4core9panicking",
    "_ZN5alloc5alloc18handle_alloc_error17h",
    "_ZN5alloc7raw_vec17capacity_overflow17h",
});

/// What the library calls its own copies.
constexpr std::string_view g_internalAlias = "__GI_";

/// Without a version or "@plt", and without ".constprop.N" and ".isra.N" of the compiler.
std::string_view plainName(std::string_view name)
{
    name = name.substr(0, name.find('@'));
    for (const std::string_view copy : {".constprop.", ".isra."})
        name = name.substr(0, name.find(copy));
    if (name.starts_with(g_internalAlias)) name.remove_prefix(g_internalAlias.size());
    return name;
}

/// Whether the name is that of a function in the namespace std whose own name begins with
/// "__throw_", as those are called that throw one exception each.
bool isThrowHelper(std::string_view name)
{
    bool isStd = false;
    for (const std::string_view scope : {"_ZSt", "_ZNSt3__1"}) {
        isStd = name.starts_with(scope);
        if (isStd) name.remove_prefix(scope.size());
        if (isStd) break;
    }
    const std::size_t digits = static_cast<std::size_t>(
        std::find_if_not(name.begin(), name.end(), isDigit) - name.begin());
    return isStd && digits != 0 && name.substr(digits).starts_with("__throw_");
}

/// Whether the name is that of a function of core::panicking in the newer mangling.
bool isRustPanic(std::string_view name)
{
    return name.starts_with("_RNvNt") && name.find("_4core9panicking") != std::string_view::npos;
}

} // namespace

bool isNeverReturning(std::string_view name)
{
    const std::string_view plain = plainName(name);
    if (std::binary_search(g_names.begin(), g_names.end(), plain)) return true;
    if (!plain.starts_with('_')) return false;
    return isThrowHelper(plain) || isRustPanic(plain) ||
           std::any_of(g_beginnings.begin(), g_beginnings.end(),
                       [plain](std::string_view start) { return plain.starts_with(start); });
}

} // namespace pathnav_3
