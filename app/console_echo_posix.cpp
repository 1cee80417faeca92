#include "app/console_echo.h"

#include <termios.h>
#include <unistd.h>

namespace app {

void SwitchOffConsoleEcho() noexcept {
  termios mode{};
  if (tcgetattr(STDIN_FILENO, &mode) != 0) {
    return;
  }
  mode.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSANOW, &mode);
}

}  // namespace app
