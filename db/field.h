#ifndef BW_DB_FIELD_H
#define BW_DB_FIELD_H

#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>

/// What the compiler knows about the fields of a row record: their names, their number and their order.
namespace db::detail {

template <class Pointer>
struct MemberPointer;

template <class Row, class Field>
struct MemberPointer<Field Row::*> {
  using RowType = Row;
  using FieldType = Field;
};

/// The signature of this function as the compiler spells it, which ends in "&Namespace::Row::Field" and a bracket.
template <auto Field>
constexpr std::string_view FieldSignature() {
  return __PRETTY_FUNCTION__;
}

template <auto Field>
constexpr std::string_view FieldName() {
  const std::string_view signature = FieldSignature<Field>();
  // g++ adds what std::string_view stands for behind the argument, so the name ends at the first ';' or ']' behind '&'.
  const std::size_t start = signature.find('&');
  const std::string_view qualified = signature.substr(start, signature.find_first_of(";]", start) - start);
  return qualified.substr(qualified.rfind(':') + 1);
}

/// The name of the field that a pointer to member points at, as the row record spells it.
template <auto Field>
inline constexpr std::string_view kFieldName = FieldName<Field>();

/// Initialises a field of any type: with one if it is marked, else with zero.
template <bool marked>
struct FieldValue {
  template <class T>
  constexpr operator T() const {  // NOLINT(google-explicit-constructor): it has to convert by itself
    return static_cast<T>(marked ? 1 : 0);
  }
};

template <class Row, class... Values>
consteval std::size_t CountFields() {
  // Braces around each value: an array takes them as its own, so one value stands for one field of any type.
  if constexpr (requires { Row{{Values{}}..., {FieldValue<false>{}}}; }) {
    return CountFields<Row, Values..., FieldValue<false>>();
  } else {
    return sizeof...(Values);
  }
}

/// The number of fields of a row record.
template <class Row>
inline constexpr std::size_t kFieldCount = CountFields<Row>();

template <class Row, std::size_t marked, std::size_t... positions>
consteval Row MarkField(std::index_sequence<positions...> /*all*/) {
  return Row{{FieldValue<positions == marked>{}}...};
}

template <auto Field, std::size_t candidate = 0>
consteval std::size_t FieldPosition() {
  using Row = typename MemberPointer<decltype(Field)>::RowType;
  constexpr Row row = MarkField<Row, candidate>(std::make_index_sequence<kFieldCount<Row>>());
  bool marked = false;
  if constexpr (std::is_array_v<typename MemberPointer<decltype(Field)>::FieldType>) {
    marked = (row.*Field)[0] != 0;
  } else {
    marked = row.*Field != 0;
  }
  if constexpr (candidate + 1 < kFieldCount<Row>) {
    return marked ? candidate : FieldPosition<Field, candidate + 1>();
  } else {
    return candidate;
  }
}

/// The position, from 0, of a field in its row record.
template <auto Field>
inline constexpr std::size_t kFieldPosition = FieldPosition<Field>();

}  // namespace db::detail

#endif  // BW_DB_FIELD_H
