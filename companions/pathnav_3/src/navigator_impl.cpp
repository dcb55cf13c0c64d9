#include "navigator_impl.h"

namespace pathnav_3 {

ObjectPtr<IBasicBlockNavigator> IBasicBlockNavigator::create(const ObjectPtr<IDataSource>& source,
                                                             std::int32_t /*settings*/,
                                                             std::int32_t /*more*/)
{
    if (source == nullptr) return nullptr;
    return new toolbelt2::ref_counted_t<NavigatorImpl>(source);
}

void NavigatorImpl::goTo(std::uint64_t rva)
{
    m_piece = pieceAt(rva);
    m_block = m_piece != nullptr ? m_piece->find(rva) : nullptr;
}

bool NavigatorImpl::stepToFallThrough()
{
    if (m_block == nullptr || !mayRunOn(m_block->parts().kind) || !comesBack(*m_block))
        return false;
    const std::uint64_t next = m_block->parts().end;
    Piece* piece = pieceAt(next);
    Block* block = piece != nullptr ? piece->find(next) : nullptr;
    if (block == nullptr || block->getStart() != next) return false;
    m_piece = piece;
    m_block = block;
    return true;
}

bool NavigatorImpl::stepToNext()
{
    if (m_block == nullptr) return false;
    const std::uint64_t behind = m_block->getStart() + 1;
    Piece* piece = m_piece;
    Block* block = piece->firstFrom(behind);
    if (block == nullptr) block = m_code.firstFrom(piece->end(), piece);
    if (block == nullptr) return false;
    m_piece = piece;
    m_block = block;
    return true;
}

Piece* NavigatorImpl::pieceAt(std::uint64_t rva)
{
    return m_piece != nullptr && m_piece->holds(rva) ? m_piece : m_code.pieceAt(rva);
}

bool NavigatorImpl::comesBack(Block& block) const
{
    const block_t& parts = block.parts();
    if (parts.kind != terminator_t::call || parts.target == IBasicBlock::unknownTarget) return true;
    return block.comesBack([&] { return !m_code.source().neverReturns(parts.target); });
}

} // namespace pathnav_3
