// Connects to two data sources as the program does, wipes its own copies of the passwords and waits: whatever copies
// are left then are those of the driver manager and the drivers, which no program can wipe.
//
//   bare_connection SOURCE LOGIN DESTINATION LOGIN    the passwords, one per line, come from standard input

#include <sql.h>
#include <sqlext.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

namespace {

struct Secret {
  std::array<char, 32768> text{};
  std::size_t length = 0;
};

// Static, so that no copy ever stands on the stack or the heap.
Secret sourcePassword;
Secret destinationPassword;

void ReadLine(Secret& secret) {
  char* end = secret.text.data();
  while (read(STDIN_FILENO, end, 1) == 1 && *end != '\n') {
    ++end;
  }
  secret.length = static_cast<std::size_t>(end - secret.text.data());
}

void Connect(std::string_view dataSourceName, std::string_view login, Secret& password) {
  const auto text = [](std::string_view view) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(view.data())); };
  SQLHENV environment = SQL_NULL_HENV;
  SQLHDBC connection = SQL_NULL_HDBC;
  SQLAllocEnv(&environment);
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  const SQLRETURN result =
      SQLConnect(connection, text(dataSourceName), static_cast<SQLSMALLINT>(dataSourceName.size()), text(login),
                 static_cast<SQLSMALLINT>(login.size()), text({password.text.data(), password.length}),
                 static_cast<SQLSMALLINT>(password.length));
  explicit_bzero(password.text.data(), password.text.size());
  if (result != SQL_SUCCESS && result != SQL_SUCCESS_WITH_INFO) {
    std::cout << "not connected" << std::endl;
    std::exit(EXIT_FAILURE);
  }
}

}  // namespace

int main(int /*argc*/, char** arguments) {
  ReadLine(sourcePassword);
  ReadLine(destinationPassword);
  Connect(arguments[1], arguments[2], sourcePassword);
  Connect(arguments[3], arguments[4], destinationPassword);
  std::cout << "connected" << std::endl;
  pause();
  return EXIT_SUCCESS;
}
