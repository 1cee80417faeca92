#ifndef BW_APP_CONSOLE_ECHO_H
#define BW_APP_CONSOLE_ECHO_H

namespace app {

/// Switches off the echo of what is typed at standard input; does nothing when that is no terminal.
///
/// Nothing switches it back on: the terminal deliberately stays without echo after the program has ended.
void SwitchOffConsoleEcho() noexcept;

}  // namespace app

#endif  // BW_APP_CONSOLE_ECHO_H
