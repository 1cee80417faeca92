#ifndef BW_TESTS_CONTRACT_EXPECTED_RUN_H
#define BW_TESTS_CONTRACT_EXPECTED_RUN_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace contract {

/// Two rows for every table, made so that all references hold and that every text is found nowhere else.
void FillEveryTable();

/// Which calls fail, by their number from 1.
using Fails = std::function<bool(std::size_t call)>;

/// The diagnostics text that a call leaves with its handle when it fails.
using Diagnostics = std::function<std::string(std::size_t call)>;

/// What a run over the rows of FillEveryTable does when calls fail, told step by step and apart from the program.
///
/// In console and log "@ " stands for a time stamp and "#" for a number of milliseconds.
class ExpectedRun {
 public:
  ExpectedRun(Fails fails, Diagnostics diagnostics);

  /// The beginnings of the calls as the double records them, those for diagnostics left out.
  const std::vector<std::string>& calls() const { return calls_; }
  const std::string& console() const { return console_; }
  const std::string& log() const { return log_; }

  /// As the double names them.
  std::vector<std::string> LiveHandles() const;
  const std::vector<std::string>& violations() const { return violations_; }

 private:
  /// What ends the run: the text in the log.
  struct End {
    std::string text;
  };
  struct Handle {
    std::string name;
    std::string parent;
    bool live;
  };
  struct Table;

  void Run();
  void Connect(const std::string& number);
  void CheckVersion();
  void Migrate(const Table& table);
  bool Read(const Table& table, std::size_t row);
  void Write(const Table& table, std::size_t row);
  void PrepareAndBind(const Table& table);
  void CloseConnection(const std::string& number);

  bool Call(const std::string& call);
  void Need(const std::string& call);
  bool Allocate(const std::string& call, const std::string& kind, const std::string& parent, std::string& name);
  void AllocateStatement(const std::string& connection, std::string& name);
  bool Free(const std::string& call, const std::string& name);
  void FreeStatement(std::string& name);
  void LookUp(const std::set<std::size_t>& map, std::size_t row);
  void Report(const std::string& line);

  Fails fails_;
  Diagnostics diagnostics_;
  std::vector<std::string> calls_;
  std::string console_;
  std::string log_;
  std::vector<Handle> handles_;
  std::vector<std::string> violations_;
  // The statements of the table in progress; empty when none is held.
  std::string source_;
  std::string destination_;
  // The rows whose identifiers the later tables find.
  std::set<std::size_t> groups_;
  std::set<std::size_t> groupOrders_;
  std::set<std::size_t> pools_;

  static const std::vector<Table> kTables;
  friend void FillEveryTable();
};

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_EXPECTED_RUN_H
