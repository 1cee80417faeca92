#ifndef BW_LAB_TDS_SERVER_LOGINS_H
#define BW_LAB_TDS_SERVER_LOGINS_H

#include <istream>
#include <map>
#include <string>
#include <string_view>

namespace tds {

/// The users who may log in, with their passwords.
class Logins {
 public:
  /// Reads one "user<TAB>password" per line. \throws std::runtime_error for a line without a tab.
  static Logins Read(std::istream& lines);

  bool Accepts(std::string_view user, std::string_view password) const;

 private:
  std::map<std::string, std::string, std::less<>> passwords_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_LOGINS_H
