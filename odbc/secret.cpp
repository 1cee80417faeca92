#include "odbc/secret.h"

namespace odbc {

void Wipe(std::string& secret) noexcept {
  // Up to the capacity, since an earlier, longer content may still stand behind the end. This never allocates.
  secret.resize(secret.capacity());
  volatile char* storage = secret.data();
  for (std::size_t i = 0; i < secret.size(); ++i) {
    storage[i] = '\0';
  }
  secret.clear();
}

}  // namespace odbc
