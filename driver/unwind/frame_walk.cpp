#include "unwind/frame_walk.h"

#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>

#include <array>
#include <cstdlib>
#include <new>
#include <string>

namespace samplefold::unwind {
namespace {

/// libdwfl wants numbers of a process and a thread; they mean nothing here.
constexpr pid_t g_anyTask = 1;

/// What a module's tables say about a place.
enum class Rule { none, outermost, caller };

Rule ruleOf(Dwarf_CFI* table, Dwarf_Addr address)
{
    Dwarf_Frame* frame = nullptr;
    if (table == nullptr || ::dwarf_cfi_addrframe(table, address, &frame) != 0) return Rule::none;
    Dwarf_Addr start = 0;
    Dwarf_Addr end = 0;
    bool isSignal = false;
    std::array<Dwarf_Op, 3> room{};
    Dwarf_Op* steps = nullptr;
    std::size_t count = 0;
    const int returnAddress = ::dwarf_frame_info(frame, &start, &end, &isSignal);
    // libdw tells an undefined register by no steps in the caller's own room.
    const bool isUndefined =
        ::dwarf_frame_register(frame, returnAddress, room.data(), &steps, &count) == 0 &&
        count == 0 && steps == room.data();
    std::free(frame);
    return isUndefined ? Rule::outermost : Rule::caller;
}

Rule ruleOf(Dwfl_Module* module, std::uint64_t address)
{
    Dwarf_Addr bias = 0;
    Dwarf_CFI* const loaded = ::dwfl_module_eh_cfi(module, &bias);
    const Rule rule = ruleOf(loaded, address - bias);
    if (rule != Rule::none) return rule;
    Dwarf_CFI* const debug = ::dwfl_module_dwarf_cfi(module, &bias);
    return ruleOf(debug, address - bias);
}

} // namespace

/// No exception may leave these for libdwfl.
struct FrameWalk::Calls {
    static int findElf(Dwfl_Module*, void** userData, const char*, Dwarf_Addr, char**, ::Elf** elf)
    {
        *elf = static_cast<const CodeFile*>(*userData)->openImage();
        return -1; // no descriptor of a file
    }

    /// The tables were taken from the file that was found; libdwfl is to look nowhere else.
    static int findDebugInfo(Dwfl_Module*, void**, const char*, Dwarf_Addr, const char*,
                             const char*, GElf_Word, char**)
    {
        return -1;
    }

    static pid_t nextThread(Dwfl*, void* self, void** argument)
    {
        if (*argument != nullptr) return 0;
        *argument = self;
        return g_anyTask;
    }

    static bool getThread(Dwfl*, pid_t, void* self, void** argument)
    {
        *argument = self;
        return true;
    }

    static bool setRegisters(Dwfl_Thread* thread, void* self)
    {
        const UserRegisters& registers = static_cast<FrameWalk*>(self)->m_walk->registers;
        for (std::size_t i = 0; i < UserRegisters::count; ++i) {
            if (!registers.has(i)) continue;
            const Dwarf_Word value = registers[i];
            if (!::dwfl_thread_state_registers(thread, static_cast<int>(i), 1, &value))
                return false;
        }
        return true;
    }

    static bool readMemory(Dwfl*, Dwarf_Addr address, Dwarf_Word* result, void* self)
    {
        Walk& walk = *static_cast<FrameWalk*>(self)->m_walk;
        std::uint64_t word = 0;
        if (walk.stack.read(address, word)) {
            *result = word;
            return true;
        }
        (walk.stack.isAbove(address) ? walk.wantsAbove : walk.wantsOutside) = true;
        return false;
    }

    static int onFrame(Dwfl_Frame* frame, void* argument)
    {
        auto* const self = static_cast<FrameWalk*>(argument);
        try {
            return self->onFrame(frame) ? DWARF_CB_OK : DWARF_CB_ABORT;
        } catch (...) {
            self->m_walk->failure = std::current_exception();
            return DWARF_CB_ABORT;
        }
    }

    static constexpr Dwfl_Callbacks modules{&findElf, &findDebugInfo, nullptr, nullptr};
    static constexpr Dwfl_Thread_Callbacks threads{&nextThread,   &getThread, &readMemory,
                                                   &setRegisters, nullptr,    nullptr};
};

FrameWalk::FrameWalk() : m_dwfl(::dwfl_begin(&Calls::modules))
{
    if (m_dwfl == nullptr) throw std::bad_alloc();
}

FrameWalk::~FrameWalk()
{
    ::dwfl_end(m_dwfl);
}

bool FrameWalk::attach(const CodeFile& file)
{
    if (!m_isAttached)
        m_isAttached = ::dwfl_attach_state(m_dwfl, file.image(), g_anyTask, &Calls::threads, this);
    return m_isAttached;
}

/// The module of this code, told to libdwfl when it is new; null when libdwfl does not take it.
Dwfl_Module* FrameWalk::report(const Code& code)
{
    const auto [known, isNew] = m_modules.try_emplace({code.file, code.bias}, nullptr);
    if (!isNew) return known->second;
    const std::uint64_t low = code.file->low() + code.bias;
    const std::uint64_t high = code.file->high() + code.bias;
    if (low >= high) return nullptr;
    const std::string name = std::to_string(m_modules.size());
    ::dwfl_report_begin_add(m_dwfl);
    Dwfl_Module* const module = ::dwfl_report_module(m_dwfl, name.c_str(), low, high);
    void** userData = nullptr;
    if (module != nullptr) {
        ::dwfl_module_info(module, &userData, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
        *userData = const_cast<CodeFile*>(code.file);
    }
    ::dwfl_report_end(m_dwfl, nullptr, nullptr);
    GElf_Addr bias = 0;
    if (module == nullptr || ::dwfl_module_getelf(module, &bias) == nullptr || bias != code.bias)
        return nullptr;
    known->second = module;
    return module;
}

bool FrameWalk::refuse(Stop stop)
{
    m_walk->stop = stop;
    m_walk->isStopped = true;
    return false;
}

/// Sees to it that libdwfl knows the module at an address.
bool FrameWalk::enter(std::uint64_t address)
{
    Code code;
    Stop stop = Stop::failed;
    if (!m_walk->codeAt(address, code, stop)) return refuse(stop);
    Dwfl_Module* const module = report(code);
    if (module == nullptr) return refuse(Stop::badFile);
    if (::dwfl_addrmodule(m_dwfl, address) != module) {
        m_isOutdated = true;
        return refuse(Stop::badFrame);
    }
    if (!attach(*code.file)) return refuse(Stop::failed);
    m_walk->address = address;
    m_walk->module = module;
    return true;
}

/// A caller's frame lies above its callee's, but for code that runs on another stack, of which
/// there is no copy.
bool FrameWalk::goesUp(Dwfl_Frame* frame)
{
    Dwarf_Word pointer = 0;
    if (::dwfl_frame_reg(frame, UserRegisters::stackPointer, &pointer) != 0) return true;
    const bool isFine = pointer > m_walk->stackPointer || !m_walk->stack.holds(pointer);
    m_walk->stackPointer = pointer;
    return isFine;
}

/// False ends the walk. The first frame is that of the sampled address.
bool FrameWalk::onFrame(Dwfl_Frame* frame)
{
    Walk& walk = *m_walk;
    Dwarf_Addr address = 0;
    if (!::dwfl_frame_pc(frame, &address, nullptr)) return refuse(Stop::failed);
    walk.wantsAbove = walk.wantsOutside = false;
    if (walk.isFirst) {
        walk.isFirst = false;
        return true; // walk() has entered it
    }
    if (!goesUp(frame)) return refuse(Stop::badFrame);
    if (walk.frames.size() >= walk.maxFrames) return refuse(Stop::tooDeep);
    walk.frames.push_back(address);
    return enter(address - 1); // a call may be the last instruction of its function
}

/// Why libdwfl found no frame behind the latest one. It tells memory that it was refused and the
/// end of a stack alike, so that its own answer settles only what nothing else does: whether there
/// is a return address and it is 0.
Stop FrameWalk::reasonOfEnd(bool isFine) const
{
    const Rule rule = ruleOf(m_walk->module, m_walk->address);
    if (rule == Rule::outermost) return Stop::complete;
    if (rule == Rule::none) return Stop::noUnwindInfo;
    if (m_walk->wantsAbove) return Stop::stackEnd;
    if (m_walk->wantsOutside) return Stop::outsideDump;
    return isFine ? Stop::complete : Stop::badFrame;
}

Stop FrameWalk::walk(const UserRegisters& registers, const StackDump& stack,
                     const code_at_t& codeAt, std::size_t maxFrames,
                     std::vector<std::uint64_t>& frames)
{
    Walk walk{.registers = registers,
              .stack = stack,
              .codeAt = codeAt,
              .maxFrames = maxFrames,
              .frames = frames,
              .stackPointer = stack.start,
              .failure = {}};
    m_walk = &walk;
    m_isOutdated = false;
    if (!enter(registers[UserRegisters::instruction])) return walk.stop;
    ::dwfl_errno(); // what an earlier walk left there
    const int result = ::dwfl_getthread_frames(m_dwfl, g_anyTask, &Calls::onFrame, this);
    if (walk.failure) std::rethrow_exception(walk.failure);
    if (walk.isStopped) return walk.stop;
    return reasonOfEnd(result == 0);
}

} // namespace samplefold::unwind
