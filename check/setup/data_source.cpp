#include "check/setup/data_source.h"

#include <stdexcept>

namespace check::setup {

void RequireDataSources(const config::MigrationSettings& settings) {
  std::string flaws = FlawOfDataSource("source", settings.source.dataSourceName);
  const std::string flaw = FlawOfDataSource("destination", settings.destination.dataSourceName);
  flaws += (flaws.empty() || flaw.empty() ? "" : "\n") + flaw;
  if (!flaws.empty()) {
    throw std::runtime_error(flaws);
  }
}

}  // namespace check::setup
