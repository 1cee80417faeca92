#include "check/before/destination_procedures.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace check {

namespace {

constexpr std::string_view kCall = "CALL {schema}\"";

/// A name without what writers of procedures vary: case and underscores.
std::string Folded(std::string_view name) {
  std::string folded;
  for (const char letter : name) {
    if (letter != '_') {
      folded += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
  }
  return folded;
}

bool IsOutput(const db::ParameterDescription& sent) {
  return sent.direction == SQL_PARAM_OUTPUT;
}

const db::ColumnDescription& ColumnOf(const db::TableDescription& table, const db::ParameterDescription& sent) {
  return *std::find_if(table.columns.begin(), table.columns.end(),
                       [&sent](const db::ColumnDescription& column) { return column.name == sent.column; });
}

/// Names parameters and says what is wrong with each.
class Complaints {
 public:
  void Add(Cost cost, std::size_t place, const ProcedureParameter& parameter, const std::string& complaint) {
    cost_ = text_.empty() ? cost : std::min(cost_, cost);
    text_ += (text_.empty() ? "Parameter " : " Parameter ") + std::to_string(place + 1) +
             (parameter.name.empty() ? "" : " (" + parameter.name + ")") + " " + complaint;
  }

  std::optional<Finding> Found(const FindingKind& kind, const Procedure& procedure) const {
    if (text_.empty()) {
      return std::nullopt;
    }
    return SchemaFinding(kind, cost_, procedure.signature + ": " + text_);
  }

 private:
  Cost cost_ = Cost::CannotForesee;
  std::string text_;
};

std::optional<Finding> JudgeOrder(const db::TableDescription& table, const Procedure& procedure) {
  Complaints complaints;
  for (std::size_t i = 0; i < table.parameters.size(); ++i) {
    const ProcedureParameter& parameter = procedure.parameters[i];
    const std::string name = Folded(parameter.name);
    const auto named =
        std::find_if(table.parameters.begin(), table.parameters.end(),
                     [&name](const db::ParameterDescription& sent) { return Folded(sent.column) == name; });
    if (named != table.parameters.end() && named->column != table.parameters[i].column) {
      complaints.Add(Cost::ValueChanged, i, parameter, "gets " + std::string(table.parameters[i].column) + ".");
    }
  }
  return complaints.Found(finding::ProcedureOrder, procedure);
}

}  // namespace

std::optional<std::string> CalledProcedure(const db::TableDescription& table) {
  if (!table.write.starts_with(kCall)) {
    return std::nullopt;
  }
  const std::string_view rest = table.write.substr(kCall.size());
  return std::string(rest.substr(0, rest.find('"')));
}

std::optional<Finding> JudgeParameters(const db::TableDescription& table, const Procedure& procedure) {
  if (procedure.parameters.size() < table.parameters.size()) {
    return SchemaFinding(finding::ProcedureParameters, Cost::CannotForesee,
                         procedure.signature + " takes any number of values; what becomes of them cannot be told.");
  }
  // Wrong types and directions follow from a wrong order.
  if (std::optional<Finding> order = JudgeOrder(table, procedure)) {
    return order;
  }
  Complaints complaints;
  for (std::size_t i = 0; i < table.parameters.size(); ++i) {
    const db::ParameterDescription& sent = table.parameters[i];
    const db::ColumnDescription& column = ColumnOf(table, sent);
    const ProcedureParameter& parameter = procedure.parameters[i];
    const bool returned = parameter.mode == 'o' || parameter.mode == 'b';
    const bool taken = parameter.mode != 'o';
    if (IsOutput(sent)) {
      if (!returned) {
        complaints.Add(Cost::RunEnds, i, parameter,
                       "returns nothing, and the new " + std::string(column.name) + " is expected from it.");
      } else if (parameter.type.category != 'N') {
        complaints.Add(Cost::CannotForesee, i, parameter,
                       "returns a " + parameter.type.name + ", which is read as a number.");
      }
      continue;
    }
    // What is returned is handed out in order to the parameters that expect something.
    if (returned) {
      complaints.Add(Cost::WrongRow, i, parameter,
                     "returns a value where none is expected: it is taken for the new number.");
    }
    if (!taken) {
      continue;
    }
    const std::optional<Finding> type = JudgeType(column.kind, LettersSent(column, table.name), parameter.type);
    if (type) {
      complaints.Add(type->cost, i, parameter, "gets " + std::string(column.name) + ". " + type->text);
    }
  }
  return complaints.Found(finding::ProcedureParameters, procedure);
}

}  // namespace check
