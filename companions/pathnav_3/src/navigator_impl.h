#pragma once

#include "code_map.h"

#include <pathnav_3/basic_block_navigator.h>

#include <cstdint>

namespace pathnav_3 {

class NavigatorImpl : public IBasicBlockNavigator {
public:
    explicit NavigatorImpl(const ObjectPtr<IDataSource>& source) : m_code(source) {}

    IBasicBlock* getCurrentBlock() noexcept override { return m_block; }
    void goTo(std::uint64_t rva) override;
    bool stepToFallThrough() override;
    bool stepToNext() override;

private:
    Piece* pieceAt(std::uint64_t rva);
    bool comesBack(Block& block) const;

    CodeMap m_code;
    Piece* m_piece = nullptr; ///< of the block
    Block* m_block = nullptr;
};

} // namespace pathnav_3
