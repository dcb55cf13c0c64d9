#pragma once

#include "byte_source.h"

#include <pathnav_3/basic_block_navigator.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace pathnav_test {

/// The base of a source that gives relative addresses.
constexpr std::uint64_t noBase = ~std::uint64_t{0};

using pathnav_3::IBasicBlock;
using pathnav_3::IBasicBlockNavigator;
using pathnav_3::IDataSource;
using pathnav_3::ObjectPtr;

ObjectPtr<IBasicBlockNavigator> navigatorOver(const ObjectPtr<IDataSource>& source);

/// "10-14 conditional 1a @12": addresses of the block, how it ends, target if it is known, last
/// instruction; all in hexadecimal. "none" for null.
std::string textOf(const IBasicBlock* block);
/// The block at an address.
std::string blockAt(IBasicBlockNavigator& navigator, std::uint64_t rva);
/// The block that runs behind the one at an address when its terminator does not leave.
std::string fallThroughOf(IBasicBlockNavigator& navigator, std::uint64_t rva);
/// The block at an address and all behind it.
std::vector<std::string> blocksFrom(IBasicBlockNavigator& navigator, std::uint64_t rva);

/// A navigator over one function at 0x10 that has the bytes of `text`, at the start of the
/// function.
struct one_function_t {
    explicit one_function_t(std::string_view text);
    std::vector<std::string> blocks() { return blocksFrom(*navigator, 0x10); }
    std::string at(std::uint64_t rva) { return blockAt(*navigator, rva); }
    std::string behind(std::uint64_t rva) { return fallThroughOf(*navigator, rva); }

    boost::intrusive_ptr<ByteSource> source;
    ObjectPtr<IBasicBlockNavigator> navigator;
};

} // namespace pathnav_test
