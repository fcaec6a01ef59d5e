// Element handles to stable reference numbers, with the retains and releases that keep the handles valid.
#include "MacElementRegistry.h"

#include <vector>

namespace tamsinvale {

MacElementRegistry::MacElementRegistry(Operations operations) : m_ops(std::move(operations)) {}

MacElementRegistry::~MacElementRegistry()
{
    for (const auto& [ref, entry] : m_byRef)
        m_ops.release(entry.handle);
}

std::uint64_t MacElementRegistry::refFor(Handle handle, std::int32_t pid)
{
    if (!handle)
        return 0;
    const std::size_t h = m_ops.hash(handle);
    const auto [first, last] = m_byHash.equal_range(h);
    for (auto it = first; it != last; ++it) {
        const auto found = m_byRef.find(it->second);
        if (found != m_byRef.end() && m_ops.equal(found->second.handle, handle))
            return it->second;
    }
    const std::uint64_t ref = m_next++;
    m_ops.retain(handle);
    m_byRef.emplace(ref, Entry{handle, pid});
    m_byHash.emplace(h, ref);
    return ref;
}

std::optional<MacElementRegistry::Entry> MacElementRegistry::find(std::uint64_t ref) const
{
    const auto it = m_byRef.find(ref);
    if (it == m_byRef.end())
        return std::nullopt;
    return it->second;
}

void MacElementRegistry::unlist(std::uint64_t ref, const Entry& entry)
{
    const auto [first, last] = m_byHash.equal_range(m_ops.hash(entry.handle));
    for (auto it = first; it != last; ++it) {
        if (it->second == ref) {
            m_byHash.erase(it);
            break;
        }
    }
}

void MacElementRegistry::forget(std::uint64_t ref)
{
    const auto it = m_byRef.find(ref);
    if (it == m_byRef.end())
        return;
    const Entry entry = it->second;
    unlist(ref, entry);
    m_byRef.erase(it);
    m_ops.release(entry.handle);
}

void MacElementRegistry::forgetProcess(std::int32_t pid)
{
    std::vector<std::uint64_t> refs;
    for (const auto& [ref, entry] : m_byRef)
        if (entry.pid == pid)
            refs.push_back(ref);
    for (const std::uint64_t ref : refs)
        forget(ref);
}

}  // namespace tamsinvale
