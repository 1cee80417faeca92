#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <span>
#include <system_error>

#include "lab/tds_server/logins.h"
#include "lab/tds_server/options.h"
#include "lab/tds_server/server.h"
#include "lab/tds_server/store.h"

namespace {

/// Lets the process end with its parent, so that a killed test leaves no server behind.
void EndWithParent() {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
}

/// A file descriptor that can be read from once the process is asked to end. All threads started later inherit that the
/// signals themselves are blocked.
int OpenStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const int stop = signalfd(-1, &signals, SFD_CLOEXEC);
  if (stop < 0) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  return stop;
}

/// A file that is no database is to be reported at the start and not to the first client.
void CheckDatabase(const std::filesystem::path& file) {
  const tds::Store store(file, [] { return false; });
}

tds::Logins ReadLogins(const std::filesystem::path& file) {
  std::ifstream lines(file);
  if (!lines) {
    throw std::system_error(errno, std::generic_category(), file.string());
  }
  return tds::Logins::Read(lines);
}

int Run(std::span<const char* const> arguments) {
  const tds::Options options = tds::ParseOptions(arguments);
  const pid_t parent = getppid();
  const int stop = OpenStopSignals();
  EndWithParent();
  if (getppid() != parent) {
    return EXIT_SUCCESS;
  }
  CheckDatabase(options.database);

  tds::Server server(options, ReadLogins(options.logins));
  std::cout << "listening on 127.0.0.1:" << server.Port() << std::endl;
  server.Run(stop);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char* argv[]) {
  try {
    return Run(std::span<const char* const>(argv, static_cast<std::size_t>(argc)).subspan(1));
  } catch (const tds::UsageError& error) {
    std::cerr << error.what() << '\n' << tds::kUsage;
  } catch (const std::exception& error) {
    std::cerr << "tds_server: " << error.what() << '\n';
  }
  return EXIT_FAILURE;
}
