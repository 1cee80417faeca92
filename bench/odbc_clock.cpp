// Preloaded before the driver manager: measures how long SQLFetch and SQLExecute take for the rows of a client, and how
// long the client takes between them. When the client ends, "ROWS NANOSECONDS_IN_THE_CALLS NANOSECONDS_BETWEEN_THEM" is
// written to the file that BW_ODBC_CLOCK names.

#include <dlfcn.h>
#include <sql.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>

namespace {

using Clock = std::chrono::steady_clock;
using Function = SQLRETURN (*)(SQLHSTMT);

class OdbcClock {
 public:
  OdbcClock() = default;
  OdbcClock(const OdbcClock&) = delete;
  OdbcClock(OdbcClock&&) = delete;
  OdbcClock& operator=(const OdbcClock&) = delete;
  OdbcClock& operator=(OdbcClock&&) = delete;

  ~OdbcClock() {
    if (const char* const path = std::getenv("BW_ODBC_CLOCK")) {
      std::ofstream(path) << rows_ << ' ' << Nanoseconds(inside_) << ' ' << Nanoseconds(between_) << '\n';
    }
  }

  SQLRETURN Fetch(SQLHSTMT statement) {
    // Between the last fetch of a table and the first one of the next there is no row.
    const SQLRETURN result = Call(fetch_, statement, executed_);
    executed_ = false;
    fetched_ = SQL_SUCCEEDED(result);
    return result;
  }

  SQLRETURN Execute(SQLHSTMT statement) {
    const SQLRETURN result = Call(execute_, statement, fetched_);
    executed_ = true;
    fetched_ = false;
    ++rows_;
    return result;
  }

 private:
  static Function Next(const char* name) { return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name)); }

  static std::int64_t Nanoseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count();
  }

  SQLRETURN Call(Function function, SQLHSTMT statement, bool isInRow) {
    const Clock::time_point start = Clock::now();
    if (isInRow) {
      between_ += start - end_;
    }
    const SQLRETURN result = function(statement);
    end_ = Clock::now();
    inside_ += end_ - start;
    return result;
  }

  Function fetch_ = Next("SQLFetch");
  Function execute_ = Next("SQLExecute");
  bool fetched_ = false;
  bool executed_ = false;
  std::uint64_t rows_ = 0;
  Clock::time_point end_;
  Clock::duration inside_{};
  Clock::duration between_{};
};

OdbcClock odbcClock;

}  // namespace

extern "C" SQLRETURN SQLFetch(SQLHSTMT statement) {
  return odbcClock.Fetch(statement);
}

extern "C" SQLRETURN SQLExecute(SQLHSTMT statement) {
  return odbcClock.Execute(statement);
}
