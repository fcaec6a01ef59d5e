// Ownership of Core Foundation objects for the macOS backends: a holder that releases what it owns.
// Objects from a Create or Copy function are adopted (owned already); objects from a Get function are retained.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace tamsinvale {

template <typename Ref>
class MacCFRef {
public:
    MacCFRef() = default;
    static MacCFRef adopt(Ref ref) { return MacCFRef(ref); }
    static MacCFRef retain(Ref ref)
    {
        if (ref)
            CFRetain(ref);
        return MacCFRef(ref);
    }
    ~MacCFRef() { reset(); }
    MacCFRef(const MacCFRef& other) : m_ref(other.m_ref)
    {
        if (m_ref)
            CFRetain(m_ref);
    }
    MacCFRef(MacCFRef&& other) noexcept : m_ref(std::exchange(other.m_ref, nullptr)) {}
    MacCFRef& operator=(MacCFRef other) noexcept
    {
        std::swap(m_ref, other.m_ref);
        return *this;
    }

    Ref get() const { return m_ref; }
    explicit operator bool() const { return m_ref != nullptr; }
    void reset()
    {
        if (m_ref)
            CFRelease(m_ref);
        m_ref = nullptr;
    }
    // For out-parameters of Copy functions: the holder adopts what the function stores.
    Ref* out()
    {
        reset();
        return &m_ref;
    }

private:
    explicit MacCFRef(Ref ref) : m_ref(ref) {}
    Ref m_ref = nullptr;
};

}  // namespace tamsinvale
