#pragma once

#include <pathnav_3/basic_block.h>
#include <pathnav_3/data_source.h>
#include <pathnav_3/export.h>
#include <pathnav_3/object_ptr.h>

#include <cstdint>

namespace pathnav_3 {

/// A cursor over the basic blocks of a module. A function is decoded by the first step into it and
/// kept. Blocks begin where functions do, behind every terminator, and wherever a direct jump or
/// call that was decoded goes. Code is decoded from the start of its function to the end, so that
/// code reached through jump tables is seen too; behind bytes that are no instruction it goes on at
/// the next byte. One thread.
class PATHNAV_API IBasicBlockNavigator : public tb2::object_interface_t {
public:
    /// A navigator over `source`; null when that is null. The two numbers, 10 and 0, are settings
    /// that have one value.
    static ObjectPtr<IBasicBlockNavigator> create(const ObjectPtr<IDataSource>& source,
                                                  std::int32_t settings, std::int32_t more);

    /// The block at the cursor; null when the cursor is on none.
    virtual IBasicBlock* getCurrentBlock() noexcept = 0;
    /// Puts the cursor on the block that holds `rva`: of overlapping ones the one that begins
    /// there, else the one in whose instructions it lies. On none where there is no code.
    virtual void goTo(std::uint64_t rva) = 0;
    /// Moves to the block that runs next when the terminator does not leave: behind a conditional
    /// jump, a call that comes back, and where a block just ends. False, and no move, when there is
    /// none.
    virtual bool stepToFallThrough() = 0;
    /// Moves to the next block by address, also into the next function. False, and no move, behind
    /// the last.
    virtual bool stepToNext() = 0;
};

} // namespace pathnav_3
