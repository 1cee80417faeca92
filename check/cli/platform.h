#ifndef BW_CHECK_CLI_PLATFORM_H
#define BW_CHECK_CLI_PLATFORM_H

#include <string>
#include <string_view>

/// What differs between the platforms: the terminal at the standard streams, and the computer's name.
namespace check {

/// The name of this computer; empty when it cannot be determined.
std::string HostName();

/// Makes writing to a pipe that nobody reads any longer an error like any other; no signal ends the program.
void MakeClosedPipesAnError() noexcept;

bool InputIsTerminal() noexcept;

enum class OutputStream { Output, Error };

/// Whether the stream is a terminal that obeys escape sequences. Switches that on where the platform needs it.
bool ObeysEscapeSequences(OutputStream stream) noexcept;

/// As long as it lives, the terminal at standard input does not show what is typed. When a signal ends or stops the
/// program meanwhile, the terminal is left as it was; when the program goes on, the text is hidden and asked for again.
/// One object at a time, and only where InputIsTerminal.
class HiddenTyping {
 public:
  HiddenTyping() noexcept;

  /// Ends the line of the last prompt.
  ~HiddenTyping();

  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping(HiddenTyping&&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;
  HiddenTyping& operator=(HiddenTyping&&) = delete;

  /// Shows a literal at the terminal, wherever standard output and standard error go.
  void Prompt(std::string_view literal) noexcept;
};

}  // namespace check

#endif  // BW_CHECK_CLI_PLATFORM_H
