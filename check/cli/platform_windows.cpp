#include "check/cli/platform.h"

#include <windows.h>

#include <array>

namespace check {

namespace {

/// What the handler of Ctrl-C needs, so it stands where that reaches it.
struct {
  HANDLE input = INVALID_HANDLE_VALUE;
  DWORD shown = 0;  // The console's mode as it was.
  HANDLE screen = INVALID_HANDLE_VALUE;
} typing;

BOOL WINAPI OnControl(DWORD /*event*/) {
  SetConsoleMode(typing.input, typing.shown);
  return FALSE;
}

void WriteToScreen(std::string_view text) noexcept {
  DWORD written = 0;
  WriteFile(typing.screen, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

std::string HostName() {
  std::array<char, 256> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameExA(ComputerNameDnsHostname, name.data(), &size) != 0 ? name.data() : "";
}

void MakeClosedPipesAnError() noexcept {
  // They are one here.
}

bool InputIsTerminal() noexcept {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

bool ObeysEscapeSequences(OutputStream stream) noexcept {
  const HANDLE console = GetStdHandle(stream == OutputStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) != 0 && SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

HiddenTyping::HiddenTyping() noexcept {
  typing.input = GetStdHandle(STD_INPUT_HANDLE);
  typing.screen =
      CreateFileA("CONOUT$", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  GetConsoleMode(typing.input, &typing.shown);
  SetConsoleCtrlHandler(OnControl, TRUE);
  SetConsoleMode(typing.input, typing.shown & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
}

HiddenTyping::~HiddenTyping() {
  SetConsoleMode(typing.input, typing.shown);
  SetConsoleCtrlHandler(OnControl, FALSE);
  WriteToScreen("\r\n");
  CloseHandle(typing.screen);
}

void HiddenTyping::Prompt(std::string_view literal) noexcept {
  WriteToScreen(literal);
}

}  // namespace check
