// Keyboard events posted as if typed, for inserting text into the frontmost application.
#pragma once

namespace tamsinvale {

class SyntheticInput {
public:
    virtual ~SyntheticInput() = default;
    // Posts a key-down and key-up that produce one Unicode scalar with no modifiers. False when nothing was posted.
    virtual bool typeScalar(char32_t scalar) = 0;
};

}  // namespace tamsinvale
