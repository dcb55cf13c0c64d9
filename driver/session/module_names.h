#pragma once

#include <string>
#include <string_view>

// One set of names for what a profile calls many ways:
//
//   [kernel.kallsyms]        code of the kernel, whatever symbol the recorder put behind the name
//   [guest.kernel.kallsyms]  that of a guest's kernel
//   [NAME]                   a kernel module, with its file's path where the profile tells it; code
//                            that the kernel generated, as [bpf_prog_...]
//   [vdso], [vsyscall]       what the kernel gives every process
//   a path                   everything else that is a file
namespace samplefold::session {

inline constexpr std::string_view kernelName = "[kernel.kallsyms]";
inline constexpr std::string_view vdsoName = "[vdso]";
inline constexpr std::string_view vsyscallName = "[vsyscall]";

/// What the module is found by: the path that the profile tells, for the kernel its name alone.
std::string_view modulePath(std::string_view recorded);
/// The symbol that the recorder put behind the name of the kernel, at whose address its code
/// begins: "_text" in "[kernel.kallsyms]_text"; else empty.
std::string_view kernelReference(std::string_view recorded);
/// The short name of a module: the leaf of a path, "[name]" for a kernel module, else the path.
std::string moduleName(std::string_view path);

/// False for names that are no files: anonymous memory, vdso, heap and the like.
bool isFile(std::string_view path);
/// Whether code of that name is an image that was made before the process ran: a file, or what the
/// kernel gives every process. Other memory may hold generated code.
bool isImage(std::string_view path);
/// Whether it is the file of a kernel module, compressed or not.
bool isKernelModuleFile(std::string_view path);

} // namespace samplefold::session
