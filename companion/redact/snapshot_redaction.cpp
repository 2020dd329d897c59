#include "companion/redact/snapshot_redaction.h"

#include "companion/redact/secret_names.h"
#include "companion/redact/text_redaction.h"

#include <TavrineShared/model/field_table.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

namespace {

using Texts = std::vector<std::string>;
using NamedTexts = std::map<std::string, std::string>;

void redact(std::string& text) { text = redacted(text); }
void redact(std::optional<std::string>& text) {
  if (text) redact(*text);
}
void redact(Texts& texts) {
  for (std::string& text : texts) redact(text);
}
void redact(NamedTexts& texts) {
  for (auto& [name, text] : texts) {
    if (isSecretName(name) && !text.empty() && !isAnswer(text)) {
      text = kRedacted;
    } else {
      redact(text);
    }
  }
}

template <class T, class Form = ValueForm<T>>
bool redactIfOf(const Field& field, void* record) {
  if (field.type != &kValueType<T, Form>) return false;
  redact(*static_cast<T*>(field.member(record)));
  return true;
}

void redactField(const Field& field, void* record) {
  static_cast<void>(redactIfOf<std::string>(field, record) ||
                    redactIfOf<std::optional<std::string>>(field, record) ||
                    redactIfOf<Texts>(field, record) ||
                    redactIfOf<Texts, detail::LossyListForm<std::string>>(field, record) ||
                    redactIfOf<NamedTexts>(field, record));
}

}  // namespace

AppSnapshot redacted(AppSnapshot snapshot) {
  editRecords(AppSnapshot::table(), &snapshot, [](const RecordTable& table, void* record) {
    for (const Field& field : table.fields) redactField(field, record);
  });
  return snapshot;
}

}  // namespace tavrine
