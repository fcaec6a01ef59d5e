// The accessibility backend's table of element handles behind AXElement::ref.
// Each distinct element (by the handle type's own equality) gets one reference number, never 0 (the application
// element's) and never reused for the backend's lifetime; the handle is retained while it is listed. Handles are
// opaque here (AXUIElementRef on macOS), so the table is tested with stand-ins.
#pragma once

#include <QtGlobal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>

namespace tamsinvale {

class MacElementRegistry {
public:
    using Handle = const void*;
    struct Operations {
        std::function<std::size_t(Handle)> hash;
        std::function<bool(Handle, Handle)> equal;
        std::function<void(Handle)> retain;
        std::function<void(Handle)> release;
    };
    struct Entry {
        Handle handle = nullptr;
        std::int32_t pid = 0;
    };

    explicit MacElementRegistry(Operations operations);
    ~MacElementRegistry();
    MacElementRegistry(const MacElementRegistry&) = delete;
    MacElementRegistry& operator=(const MacElementRegistry&) = delete;

    // The reference of an element, listing (and retaining) it when it is new. 0 for a null handle.
    std::uint64_t refFor(Handle handle, std::int32_t pid);
    std::optional<Entry> find(std::uint64_t ref) const;
    // Drops one element (it no longer exists) or every element of a process (it ended); their numbers stay spent.
    void forget(std::uint64_t ref);
    void forgetProcess(std::int32_t pid);
    qsizetype size() const { return qsizetype(m_byRef.size()); }

private:
    void unlist(std::uint64_t ref, const Entry& entry);

    Operations m_ops;
    std::uint64_t m_next = 1;
    std::unordered_map<std::uint64_t, Entry> m_byRef;
    std::unordered_multimap<std::size_t, std::uint64_t> m_byHash;
};

}  // namespace tamsinvale
