#include "check/after/run_end.h"

#include <algorithm>

#include "check/rules/catalogue.h"

namespace check {

namespace {

using Reason = RunEnd::Reason;
using State = RunEnd::State;

bool Deviates(const std::optional<TableFigures>& table) {
  return table && !table->AsExpected();
}

/// Whether a run may have ended in the table: rows are missing, and those that are there are expected.
bool LooksEnded(const std::optional<TableFigures>& table) {
  return table && table->missing + table->refused > 0 && table->unexpected + table->different == 0;
}

/// An error without a text cannot be told from an entry of which only the time was written.
bool EndsWithError(const MigrationLog& log) {
  return log.error && !log.error->empty();
}

bool Agrees(const LoggedTable& logged, const MigrationLog& log, const TableFigures& table) {
  if (logged.completed) {
    return logged.rows == table.present || logged.rows == table.arriving;
  }
  // What was written before an error is in the log; what was written before a kill may not be.
  return EndsWithError(log) ? logged.rows == table.present : logged.rows <= std::max(table.present, table.arriving);
}

/// The end as the tables alone show it, with what the log says to be complete left out.
std::optional<RunEnd> EndByRows(const AllFigures& figures, std::size_t firstNotLogged, bool logBreaksOff) {
  for (std::size_t i = firstNotLogged; i < figures.size(); ++i) {
    if (!LooksEnded(figures[i])) {
      continue;
    }
    if (figures[i]->refused > 0 && figures[i]->present == figures[i]->arriving) {
      return RunEnd{.state = State::Incomplete, .reason = Reason::RowRefused, .table = i};
    }
    const auto later = figures.begin() + static_cast<std::ptrdiff_t>(i) + 1;
    const auto full = [](const auto& table) { return table && table->HasExpected() && table->missing == 0; };
    if (std::any_of(later, figures.end(), full)) {
      continue;
    }
    const auto filled = [](const auto& table) { return table && table->HasExpected(); };
    if (std::any_of(later, figures.end(), filled)) {
      return RunEnd{.state = State::Incomplete, .reason = Reason::RowsEnd, .table = i};
    }
    return logBreaksOff && i == firstNotLogged
               ? RunEnd{.state = State::Incomplete, .reason = Reason::LogBreaksOff, .table = i}
               : RunEnd{.state = State::Different, .reason = Reason::Undecided, .table = i};
  }
  return std::nullopt;
}

/// The end where later tables still hold what an earlier run brought.
std::optional<RunEnd> EndBeforeOlderRows(const AllFigures& figures, std::size_t firstNotLogged) {
  const auto ended =
      std::find_if(figures.begin() + static_cast<std::ptrdiff_t>(firstNotLogged), figures.end(),
                   [](const auto& table) { return LooksEnded(table) && table->missing > 0 && table->missingAtEnd; });
  if (ended == figures.end()) {
    return std::nullopt;
  }
  return RunEnd{.state = State::Incomplete,
                .reason = Reason::LogBreaksOff,
                .table = static_cast<std::size_t>(ended - figures.begin())};
}

/// Whether nothing speaks against an end in a table: there or later something is not as expected or not known, or
/// nothing is there at all.
bool MayHaveEndedAt(const AllFigures& figures, std::size_t table) {
  const auto there = figures.begin() + static_cast<std::ptrdiff_t>(table);
  const auto isEmpty = [](const auto& each) { return each && each->present == 0; };
  return !*there || std::any_of(there, figures.end(), Deviates) || std::all_of(there, figures.end(), isEmpty);
}

RunEnd FindEndOfEndedRun(const AllFigures& figures, const std::optional<MigrationLog>& log) {
  if (log && EndsWithError(*log) && FirstNotLogged(*log) && MayHaveEndedAt(figures, *FirstNotLogged(*log))) {
    return {.state = State::Incomplete, .reason = Reason::LoggedError, .table = FirstNotLogged(*log)};
  }
  if (std::ranges::none_of(figures, Deviates)) {
    return {};
  }
  const RunEnd different{.state = State::Different, .reason = Reason::None, .table = std::nullopt};
  const std::optional<std::size_t> firstNotLogged = log ? FirstNotLogged(*log) : 0;
  if (!firstNotLogged) {
    return different;
  }
  if (log && EndsWithError(*log)) {
    return different;
  }
  if (const std::optional<RunEnd> end = EndByRows(figures, *firstNotLogged, log.has_value())) {
    return *end;
  }
  return (log ? EndBeforeOlderRows(figures, *firstNotLogged) : std::nullopt).value_or(different);
}

}  // namespace

std::optional<std::size_t> FirstNotLogged(const MigrationLog& log) {
  const std::size_t begun = log.tables.size();
  const std::size_t completed = begun - (begun > 0 && !log.tables.back().completed ? 1U : 0U);
  return completed < Catalogue().size() ? std::optional(completed) : std::nullopt;
}

bool BreaksOff(const MigrationLog& log) {
  return FirstNotLogged(log) && !EndsWithError(log);
}

LogJudgement JudgeLog(const std::optional<MigrationLog>& log, const AllFigures& figures) {
  LogJudgement judgement;
  if (!log) {
    return judgement;
  }
  if (log->foreignLines > 0) {
    judgement.worth = LogJudgement::Worth::Unclear;
    return judgement;
  }
  for (std::size_t i = 0; i < log->tables.size() && i < figures.size(); ++i) {
    if (figures[i] && !Agrees(log->tables[i], *log, *figures[i])) {
      judgement.tables.push_back(i);
    }
  }
  const bool endedBeforeTables = log->tables.empty() && EndsWithError(*log);
  const bool rowsAreThere = std::ranges::any_of(figures, [](const auto& table) { return table && table->present > 0; });
  judgement.worth = !judgement.tables.empty() || (endedBeforeTables && rowsAreThere) ? LogJudgement::Worth::OtherRun
                                                                                     : LogJudgement::Worth::Reliable;
  return judgement;
}

RunEnd FindRunEnd(const AllFigures& figures, const std::optional<MigrationLog>& log, bool atWork) {
  RunEnd end = FindEndOfEndedRun(figures, log);
  if (atWork) {
    const std::optional<std::size_t> inLog = log ? FirstNotLogged(*log) : std::nullopt;
    end = {.state = State::Incomplete, .reason = Reason::AtWork, .table = end.table ? end.table : inLog};
  }
  return end;
}

}  // namespace check
