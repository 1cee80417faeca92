#include "lab/tds_server/logins.h"

#include <stdexcept>

namespace tds {

Logins Logins::Read(std::istream& lines) {
  Logins logins;
  int number = 1;
  for (std::string line; std::getline(lines, line); ++number) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) {
      throw std::runtime_error("line " + std::to_string(number) + " of the logins has no tab");
    }
    logins.passwords_[line.substr(0, tab)] = line.substr(tab + 1);
  }
  return logins;
}

bool Logins::Accepts(std::string_view user, std::string_view password) const {
  const auto found = passwords_.find(user);
  return found != passwords_.end() && found->second == password;
}

}  // namespace tds
