#include "platform/registry/walk_permit.h"

#include "platform/registry/registry_state.h"

namespace tolvar {

WalkPermit::WalkPermit(const Registry& registry) : m_state(*registry.m_pState)
{
    m_state.lock.lock_shared();
}

WalkPermit::~WalkPermit()
{
    m_state.lock.unlock_shared();
}

const NameSpace& WalkPermit::Names() const noexcept
{
    return m_state.names;
}

Result<KeyRef> WalkPermit::Find(std::string_view fullPath) const
{
    Result<KeyRef> key = m_state.names.Resolve(fullPath);
    const Checked<KeyNode> node = key ? key->First().Node() : Checked<KeyNode>();
    return node ? key : tl::unexpected(key->First().Reader().ToError(node.error()));
}

bool WalkPermit::IsWanted() const noexcept
{
    return m_state.lock.IsWriterWaiting();
}

bool WalkPermit::LetWriterIn()
{
    const std::uint64_t generation = m_state.generation;
    m_state.lock.LetWriterIn();
    return m_state.generation != generation;
}

} // namespace tolvar
