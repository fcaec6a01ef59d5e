// A read answered once per batch: between begin() and the matching end() (batches nest) the first answer is kept
// and given to every later get(); outside a batch every get() reads afresh. The window list uses it so that one
// reaction to an event sees one desktop.
#pragma once

#include <functional>
#include <optional>
#include <utility>

namespace tamsinvale {

template <typename T>
class MacBatchedRead {
public:
    explicit MacBatchedRead(std::function<T()> read) : m_read(std::move(read)) {}

    T get()
    {
        if (m_depth == 0)
            return m_read();
        if (!m_kept)
            m_kept = m_read();
        return *m_kept;
    }
    void begin() { ++m_depth; }
    // An end without a begin is ignored; the outermost end forgets the kept answer.
    void end()
    {
        if (m_depth == 0)
            return;
        if (--m_depth == 0)
            m_kept.reset();
    }
    int depth() const { return m_depth; }

private:
    std::function<T()> m_read;
    int m_depth = 0;
    std::optional<T> m_kept;
};

}  // namespace tamsinvale
