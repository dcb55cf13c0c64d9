#pragma once

#include <csetjmp>
#include <cstdint>
#include <string>

extern "C" {
#include <pci/pci.h>
}

namespace samplefold::topology {

/// libpci, with errors that come back. It ends the process on every error of its own; here they
/// leave through longjmp, so that what runs guarded must hold no objects. One thread.
class PciAccess {
public:
    PciAccess();
    ~PciAccess();
    PciAccess(const PciAccess&) = delete;
    PciAccess& operator=(const PciAccess&) = delete;

    pci_access* get() const { return m_access; }

    /// Runs `work(access)`, which uses plain C data alone. False after an error, which `problem`
    /// tells; libpci is not to be asked anything then.
    template <class Work>
    bool guarded(Work work)
    {
        if (setjmp(jumpTarget()) != 0) return false;
        work(m_access);
        return true;
    }
    /// The last error, one line.
    std::string problem() const;

private:
    static std::jmp_buf& jumpTarget();

    pci_access* m_access;
};

} // namespace samplefold::topology
