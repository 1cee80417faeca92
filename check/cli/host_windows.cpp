#include "check/cli/host.h"

#include <windows.h>

#include <array>

namespace check {

std::string HostName() {
  std::array<char, 256> name{};
  auto size = static_cast<DWORD>(name.size());
  return GetComputerNameExA(ComputerNameDnsHostname, name.data(), &size) != 0 ? name.data() : "";
}

}  // namespace check
