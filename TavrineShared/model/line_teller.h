// Tells what was lost in one line of a text. Private: no public header includes it.
#pragma once

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tavrine {

/// What a finding calls the member of a record that a part of a line fills.
template <auto Member>
inline constexpr std::string_view kFieldName = detail::memberName<Member>();

/// A view of a line that knows where it stands and whom to tell. Where nobody wants to know,
/// telling costs nothing.
class LineTeller {
 public:
  LineTeller(std::string_view line, std::size_t lineNumber, Findings* findings)
      : line_(line), lineNumber_(lineNumber), findings_(findings) {}

  std::string_view line() const { return line_; }
  std::size_t lineNumber() const { return lineNumber_; }

  /// Of the line as a whole.
  void tellLine(FindingOutcome outcome, std::string_view reason) const {
    if (findings_ != nullptr) addLine(outcome, {}, reason);
  }

  /// Of one field that the line as a whole gave.
  void tellField(FindingOutcome outcome, std::string_view field, std::string_view reason) const {
    if (findings_ != nullptr) addLine(outcome, field, reason);
  }

  /// Of a part of it, which must be a view into the line. `field` is what it fills, or empty.
  void tell(FindingOutcome outcome, std::string_view part, std::string_view field,
            std::string_view reason) const {
    if (findings_ != nullptr) addPart(outcome, part, field, reason);
  }

  /// A part of it as a text, with U+FFFD for what is ill-formed, which is told.
  std::string text(std::string_view part, std::string_view field) const;

 private:
  void addLine(FindingOutcome outcome, std::string_view field, std::string_view reason) const;
  void addPart(FindingOutcome outcome, std::string_view part, std::string_view field,
               std::string_view reason) const;

  std::string_view line_;
  std::size_t lineNumber_;
  Findings* findings_;
};

}  // namespace tavrine
