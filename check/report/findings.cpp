#include "check/report/findings.h"

#include <array>

namespace check {

namespace {

constexpr std::array kAll = {
    &finding::WrongServer,
    &finding::WrongSchemaVersion,
    &finding::SourceCannotRead,
    &finding::DestinationReadOnly,
    &finding::ClientSidePrepare,
    &finding::DestinationSchema,
    &finding::MissingTable,
    &finding::NotATable,
    &finding::TruncateFails,
    &finding::NoTruncateRight,
    &finding::NotSequenceOwner,
    &finding::CascadeEmpties,
    &finding::CascadeEmptiesMigrated,
    &finding::StatementRefused,
    &finding::TableLocked,
    &finding::LogOverwritten,
    &finding::LogNotWritten,
    &finding::DestinationNotEmpty,
    &finding::ConnectionUnencrypted,
    &finding::NullEndsTable,
    &finding::ValueUnreadable,
    &finding::NullReplaced,
    &finding::NullRepeatsRowBefore,
    &finding::ReferenceMissing,
    &finding::ReferenceNotMigrated,
    &finding::TextCut,
    &finding::ZeroByte,
    &finding::ValueChanged,
    &finding::PointsElsewhere,
    &finding::DuplicateNumber,
    &finding::NumbersChange,
    &finding::CharacterChanged,
    &finding::CharacterRefused,
    &finding::TextTooLong,
    &finding::DuplicateKey,
    &finding::ForeignKey,
    &finding::CheckViolated,
    &finding::ParentRefused,
    &finding::RowRefused,
    &finding::CannotForesee,
    &finding::RunEnded,
    &finding::TableNotMigrated,
    &finding::RunAtWork,
    &finding::TableMissing,
    &finding::RowsMissing,
    &finding::RowsUnexpected,
    &finding::RowsDifferent,
    &finding::MatchAmbiguous,
    &finding::Orphans,
    &finding::IdentityCollides,
    &finding::IdentityUnknown,
    &finding::LogMissing,
    &finding::LogUnclear,
    &finding::LogBreaksOff,
    &finding::LogStale,
};

}  // namespace

std::string_view NameOf(Cost cost) {
  switch (cost) {
    case Cost::RunRefused:
      return "run-refused";
    case Cost::RunEnds:
      return "run-ends";
    case Cost::RowsLost:
      return "rows-lost";
    case Cost::WrongRow:
      return "wrong-row";
    case Cost::ValueChanged:
      return "value-changed";
    case Cost::TextCut:
      return "text-cut";
    case Cost::Exposed:
      return "exposed";
    case Cost::CannotForesee:
      break;
  }
  return "cannot-foresee";
}

std::span<const FindingKind* const> AllFindings() {
  return kAll;
}

}  // namespace check
