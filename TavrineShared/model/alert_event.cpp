#include <TavrineShared/model/alert_event.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& TavrineAlert::table() {
  using R = TavrineAlert;
  static constexpr auto fields = fieldsOf<R>(field<&R::id>(),
                                             field<&R::severity>(),
                                             field<&R::title>(),
                                             field<&R::message>(),
                                             field<&R::serverName>(),
                                             field<&R::runName>(),
                                             field<&R::timestamp>());
  static constexpr RecordTable table{"TavrineAlert", fields};
  return table;
}

const RecordTable& LabEvent::table() {
  using R = LabEvent;
  static constexpr auto fields = fieldsOf<R>(field<&R::id>(),
                                             field<&R::timestamp>(),
                                             field<&R::severity>(),
                                             field<&R::category>(),
                                             field<&R::title>(),
                                             field<&R::message>(),
                                             field<&R::serverName>(),
                                             field<&R::username>(),
                                             field<&R::processPID>(),
                                             field<&R::command>());
  static constexpr RecordTable table{"LabEvent", fields};
  return table;
}

const RecordTable& LabEventStoreSummary::table() {
  using R = LabEventStoreSummary;
  static constexpr auto fields =
      fieldsOf<R>(defaulted<&R::serverName>(),
                  defaulted<&R::enabled>(),
                  defaulted<&R::path>(),
                  field<&R::selectedDay>(),
                  defaulted<&R::selectedDayEventCount>(),
                  defaulted<&R::exportLimit>([] { return std::int64_t{5}; }),
                  flexibleInt64<&R::sizeBytes>(),
                  flexibleInt64<&R::estimatedYearBytes>(),
                  defaulted<&R::eventCount>(),
                  field<&R::observedDays>(),
                  flexibleInt64<&R::alertThresholdBytes>([] { return std::int64_t{50} << 30; }),
                  defaulted<&R::alertRecipient>(),
                  defaulted<&R::emailTemplate>([] { return "operations"; }),
                  defaulted<&R::availableEmailTemplates>([] {
                    return std::vector<std::string>{"concise", "operations", "detailed"};
                  }),
                  field<&R::lastEmailAt>(),
                  field<&R::lastEmailError>(),
                  field<&R::lastTestEmailAt>(),
                  field<&R::lastTestEmailError>(),
                  field<&R::smtpHost>(),
                  field<&R::smtpPort>(),
                  field<&R::smtpFrom>(),
                  field<&R::smtpStartTLS>(),
                  field<&R::error>());
  static constexpr RecordTable table{"LabEventStoreSummary", fields};
  return table;
}

}  // namespace tavrine
