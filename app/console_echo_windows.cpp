#include "app/console_echo.h"

#include <windows.h>

namespace app {

void SwitchOffConsoleEcho() noexcept {
  HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode = 0;
  // The results are deliberately not checked: without a console there is nothing to switch off.
  GetConsoleMode(input, &mode);
  SetConsoleMode(input, mode & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
}

}  // namespace app
