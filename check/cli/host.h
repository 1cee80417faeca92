#ifndef BW_CHECK_CLI_HOST_H
#define BW_CHECK_CLI_HOST_H

#include <string>

namespace check {

/// The name of this computer; empty when it cannot be determined.
std::string HostName();

}  // namespace check

#endif  // BW_CHECK_CLI_HOST_H
