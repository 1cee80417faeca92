#include "check/cli/host.h"

#include <unistd.h>

#include <array>

namespace check {

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace check
