// Where the build put the programs the X11 tests start.
#pragma once

namespace tamsinvale::x11test {

inline constexpr const char* testClientPath = TAMSINVALE_TESTCLIENT_PATH;
inline constexpr const char* tamsinvalePath = TAMSINVALE_BINARY_PATH;

}  // namespace tamsinvale::x11test
