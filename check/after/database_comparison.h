#ifndef BW_CHECK_AFTER_DATABASE_COMPARISON_H
#define BW_CHECK_AFTER_DATABASE_COMPARISON_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/after/row_comparison.h"
#include "check/cli/progress.h"
#include "check/report/finding.h"
#include "check/rules/rules.h"
#include "check/staging/copies.h"
#include "check/staging/destination.h"
#include "check/staging/staging.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// What is known of one table.
struct TableResult {
  const db::TableDescription* table = nullptr;
  const staging::StagedTable* staged = nullptr;
  ComparedTable* compared = nullptr;  ///< None where the table cannot be compared.
  bool exists = true;
  std::vector<std::string_view> emptiedBy;  ///< Later tables whose truncates empty this one again.
  std::string uncomparable;                 ///< Why the table cannot be compared.
  std::vector<std::string> uncomparedColumns;
  std::optional<RowDifferences> rows;
  std::vector<Finding> referenceFindings;
  /// Columns of which the copy does not show where the numbers lead.
  std::vector<std::string_view> judgedReferences;
  bool referencesDiffer = false;  ///< They lead elsewhere than the rules bring.
  std::int64_t milliseconds = 0;
};

/// Compares both sides table by table.
class DatabaseComparison {
 public:
  /// The arguments must outlive the object.
  DatabaseComparison(const odbc::DBConnection& source, const odbc::DBConnection& trial,
                     const odbc::DBConnection& destination, Progress& progress);

  /// Stages the source's rows and compares them with those of the chosen tables and of what these refer to; of all
  /// tables when none is chosen. `unread` are the tables of the source that cannot be read. Adds its facts to the
  /// report.
  ///
  /// \throws std::runtime_error when one of the sides cannot be asked.
  void Run(const std::vector<std::string>& chosen, const std::set<std::string, std::less<>>& unread, Report& report);

  /// Follows the references of what the run brought. It ended in the table at a place among the 22, if it did.
  ///
  /// \throws odbc::Error when the destination cannot be asked.
  void CompareReferences(std::optional<std::size_t> endedIn);

  const std::vector<TableResult>& results() const { return results_; }
  const staging::Staged& staged() const { return staged_; }
  const RowComparison& comparison() const { return *comparison_; }

  /// Under which staging remarks on rows that a kept number leads elsewhere.
  static staging::RemarkKey ElsewhereRemark(const rules::ColumnRule& rule);

 private:
  template <class Step>
  void Timed(TableResult& result, Step step);
  void RestartNumbers(const staging::Destination& model, const staging::Copies& copies) const;
  staging::Obstacles Describe(const staging::Destination& model, const staging::Copies& copies,
                              const std::set<std::string, std::less<>>& unread);
  const TableResult* Find(std::string_view table) const;
  void CompareRows(TableResult& result);
  void LeaveOutReferences(TableResult& result);
  void CompareReferences(TableResult& result, std::optional<std::size_t> endedIn);
  bool IsAsStaged(const TableResult& result, const rules::ColumnRule& rule, const TableResult& referred) const;
  void CompareReference(TableResult& result, const rules::ColumnRule& rule, const TableResult& referred);

  const odbc::DBConnection& source_;
  const odbc::DBConnection& trial_;
  const odbc::DBConnection& destination_;
  Progress& progress_;
  std::vector<db::TableDescription> tables_;
  std::vector<ComparedTable> compared_;
  std::optional<RowComparison> comparison_;
  staging::Staged staged_;
  std::vector<TableResult> results_;
};

}  // namespace check

#endif  // BW_CHECK_AFTER_DATABASE_COMPARISON_H
