// Records synthetic typing instead of posting it.
#pragma once

#include <QString>

#include "platform/SyntheticInput.h"

namespace tamsinvale {

class FakeInput : public SyntheticInput {
public:
    bool typeScalar(char32_t scalar) override
    {
        m_typed.append(QString::fromUcs4(&scalar, 1));
        return true;
    }
    QString typed() const { return m_typed; }

private:
    QString m_typed;
};

}  // namespace tamsinvale
