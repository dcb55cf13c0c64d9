#include "elf_head.h"
#include "regular_file.h"

#include <SEEK_2_13/validators.h>

#include <elf.h>

#include <array>
#include <string>

namespace SEEK_2_13 {
namespace {

struct machine_t {
    std::uint16_t number; ///< of the ELF head
    bin_file_architecture_t code;
};

constexpr std::array g_machines = {
    machine_t{EM_386, architecture::i386},    machine_t{EM_X86_64, architecture::x86_64},
    machine_t{EM_ARM, architecture::arm},     machine_t{EM_AARCH64, architecture::aarch64},
    machine_t{EM_RISCV, architecture::riscv}, machine_t{EM_PPC64, architecture::ppc64},
    machine_t{EM_S390, architecture::s390},
};

bool isCode(bin_file_architecture_t code)
{
    if (code == architecture::any) return true;
    for (const machine_t& machine : g_machines)
        if (machine.code == code) return true;
    return false;
}

bool runsOn(std::uint16_t number, bin_file_architecture_t code)
{
    for (const machine_t& machine : g_machines)
        if (machine.number == number) return code == architecture::any || machine.code == code;
    return false;
}

class ArchitectureValidator : public IBinFileArchValidatorCallback {
public:
    explicit ArchitectureValidator(bin_file_architecture_t code) : m_code(code) {}

    validation_result_t validate(const char* path, IErrorInfoContainer& errors) const override
    {
        RegularFile file;
        std::string detail;
        elf_head_t head;
        const refusal_t refusal = path != nullptr ? file.open(path, detail) : refusal_t::notFound;
        if (refusal != refusal_t::none) {
            errors.add(refusal, detail.c_str());
            return validation_result_t::untested;
        }
        if (!readElfHead(file, head, detail)) {
            errors.add(refusal_t::architecture, detail.c_str());
            return validation_result_t::untested;
        }
        if (runsOn(head.machine, m_code)) return validation_result_t::passed;
        detail = "for the ELF machine " + std::to_string(head.machine);
        errors.add(refusal_t::architecture, detail.c_str());
        return validation_result_t::refused;
    }

private:
    bin_file_architecture_t m_code;
};

} // namespace

ObjectPtr<IBinFileArchValidatorCallback>
IBinFileArchValidatorCallback::create(bin_file_architecture_t architecture)
{
    if (!isCode(architecture)) return {};
    return new tb2::ref_counted_t<ArchitectureValidator>(architecture);
}

} // namespace SEEK_2_13
