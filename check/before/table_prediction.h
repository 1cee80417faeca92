#ifndef BW_CHECK_BEFORE_TABLE_PREDICTION_H
#define BW_CHECK_BEFORE_TABLE_PREDICTION_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "check/before/destination_schema.h"
#include "check/before/refusals.h"
#include "check/before/renumbering.h"
#include "check/cli/progress.h"
#include "check/report/finding.h"
#include "check/rules/simulation.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// What the prediction of one table leaves to the next ones.
struct RunState {
  Identifiers identifiers;
  std::map<std::string, Renumbering, std::less<>> renumberings;  ///< By table.
  ArrivedKeys arrivedKeys;
  std::optional<std::string> endsIn;  ///< The table in which the run ends.
  std::string endsBecause;            ///< In a sentence's part.
};

/// Predicts what becomes of the rows of one table, and adds what it finds to the table's report. After the end of the
/// run the rows are still looked at, but nothing arrives.
///
/// \throws std::runtime_error when one of the sides cannot be asked.
void PredictTable(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                  const db::TableDescription& table, const DestinationSchema& schema, bool driverRepeatsNulls,
                  LetterCheck& letters, Progress& progress, RunState& state, TableReport& report);

}  // namespace check

#endif  // BW_CHECK_BEFORE_TABLE_PREDICTION_H
