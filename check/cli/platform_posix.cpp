#include "check/cli/platform.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>

namespace check {

namespace {

constexpr std::array kEndingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/// What the signal handlers need, so it stands where they reach it.
struct {
  termios shown{};   // The terminal's modes as they were.
  termios hidden{};  // The same without echo.
  int screen = STDERR_FILENO;
  std::string_view prompt;
  std::array<struct sigaction, kEndingSignals.size()> onEnd{};  // What the signals did before.
  struct sigaction onStop {};
  struct sigaction onContinue {};
} typing;

sigset_t OurSignals() noexcept {
  sigset_t signals{};
  sigemptyset(&signals);
  for (const int signal : kEndingSignals) {
    sigaddset(&signals, signal);
  }
  sigaddset(&signals, SIGTSTP);
  sigaddset(&signals, SIGCONT);
  return signals;
}

/// Holds our signals back for as long as it lives.
class SignalsHeld {
 public:
  SignalsHeld() noexcept {
    const sigset_t signals = OurSignals();
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld(SignalsHeld&&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  SignalsHeld& operator=(SignalsHeld&&) = delete;

 private:
  sigset_t before_{};
};

void WriteToScreen(std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = write(typing.screen, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      return;
    }
    text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
}

// From here on what runs inside a signal handler: only functions that may be called there.

/// Whether the terminal is ours. In the background it is the shell's, and setting its modes would stop the program.
bool InForeground() noexcept {
  const pid_t group = tcgetpgrp(STDIN_FILENO);
  return group == -1 || group == getpgrp();
}

void Show() noexcept {
  if (InForeground()) {
    tcsetattr(STDIN_FILENO, TCSANOW, &typing.shown);
  }
}

/// Hides what is typed and asks again, unless it is hidden still.
void HideAgain() noexcept {
  termios modes{};
  if (InForeground() && tcgetattr(STDIN_FILENO, &modes) == 0 && (modes.c_lflag & static_cast<tcflag_t>(ECHO)) != 0) {
    tcsetattr(STDIN_FILENO, TCSANOW, &typing.hidden);
    WriteToScreen(typing.prompt);
  }
}

void OnEndingSignal(int signal) {
  const int savedError = errno;
  Show();
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    if (kEndingSignals[i] == signal) {
      sigaction(signal, &typing.onEnd[i], nullptr);
    }
  }
  static_cast<void>(raise(signal));  // Held back until this handler returns.
  errno = savedError;
}

void OnStop(int signal) {
  const int savedError = errno;
  Show();
  struct sigaction ours {};
  sigaction(signal, &typing.onStop, &ours);
  static_cast<void>(raise(signal));
  sigset_t stop{};
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  sigset_t before{};
  sigprocmask(SIG_UNBLOCK, &stop, &before);  // Stops here until the program is continued.
  sigprocmask(SIG_SETMASK, &before, nullptr);
  sigaction(signal, &ours, nullptr);
  HideAgain();
  errno = savedError;
}

void OnContinue(int /*signal*/) {
  const int savedError = errno;
  HideAgain();
  errno = savedError;
}

// To here.

/// Handles a signal unless the program was started with that signal ignored.
void Handle(int signal, void (*handler)(int), struct sigaction& before) noexcept {
  struct sigaction ours {};
  ours.sa_handler = handler;
  ours.sa_mask = OurSignals();
  ours.sa_flags = SA_RESTART;
  sigaction(signal, nullptr, &before);
  if (before.sa_handler != SIG_IGN) {
    sigaction(signal, &ours, nullptr);
  }
}

}  // namespace

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

void MakeClosedPipesAnError() noexcept {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

bool InputIsTerminal() noexcept {
  return isatty(STDIN_FILENO) == 1;
}

bool ObeysEscapeSequences(OutputStream stream) noexcept {
  const char* const kind = std::getenv("TERM");
  const bool capable = kind != nullptr && std::string_view(kind) != "dumb" && *kind != '\0';
  return capable && isatty(stream == OutputStream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

HiddenTyping::HiddenTyping() noexcept {
  const SignalsHeld held;
  const int terminal = open("/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC);
  typing.screen = terminal == -1 ? STDERR_FILENO : terminal;
  typing.prompt = {};
  // Stops the program in the background. The modes there are those of a shell that reads its lines itself, in which
  // Enter does not end a line.
  tcdrain(STDIN_FILENO);
  tcgetattr(STDIN_FILENO, &typing.shown);
  typing.hidden = typing.shown;
  typing.hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    Handle(kEndingSignals[i], OnEndingSignal, typing.onEnd[i]);
  }
  Handle(SIGTSTP, OnStop, typing.onStop);
  Handle(SIGCONT, OnContinue, typing.onContinue);
  tcsetattr(STDIN_FILENO, TCSANOW, &typing.hidden);
}

HiddenTyping::~HiddenTyping() {
  const SignalsHeld held;
  tcsetattr(STDIN_FILENO, TCSANOW, &typing.shown);
  WriteToScreen("\n");
  for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
    sigaction(kEndingSignals[i], &typing.onEnd[i], nullptr);
  }
  sigaction(SIGTSTP, &typing.onStop, nullptr);
  sigaction(SIGCONT, &typing.onContinue, nullptr);
  if (typing.screen != STDERR_FILENO) {
    close(typing.screen);
  }
}

void HiddenTyping::Prompt(std::string_view literal) noexcept {
  const SignalsHeld held;
  typing.prompt = literal;
  WriteToScreen(literal);
}

}  // namespace check
