#include <TavrineShared/model/json_conventions.h>

#include <TavrineShared/foundation/text_position.h>

namespace tavrine::detail {

namespace {

DecodingError notJSON(std::string_view document, const JSONReader::SyntaxError& error) {
  const TextPosition position = textPosition(document, error.offset);
  return {DecodingError::Kind::notJSON,
          "",
          "not JSON: " + std::string(error.reason) + " at line " + std::to_string(position.line) +
              ", column " + std::to_string(position.column)};
}

void encodeInto(JSONWriter& writer, const ValueType& type, const void* value) {
  EncodingProblem problem;
  EncodeContext context;
  context.problem = &problem;
  if (!type.encode(writer, value, context)) {
    throw EncodingError(std::move(problem.path), std::string(problem.reason));
  }
}

}  // namespace

void decodeDocument(std::string_view document, const ValueType& type, void* value,
                    Findings* findings) {
  JSONReader reader(document);
  DecodingProblem problem;
  DecodeContext context;
  context.findings = findings;
  context.problem = &problem;
  DocumentHabits habits;
  context.habits = &habits;
  const char* const start = reader.position();
  const JSONResult result = type.decode(reader, value, context);
  const std::string_view found(start, reader.position());
  if (!reader.finish()) throw notJSON(document, *reader.syntaxError());
  if (result == JSONResult::ok) return;
  context.tell(result, type, found);
  throw DecodingError(problem.kind,
                      std::move(problem.path),
                      std::move(problem.reason),
                      std::move(problem.found));
}

std::string encodeDocument(const ValueType& type, const void* value, JSONStyle style) {
  JSONWriter writer(style);
  encodeInto(writer, type, value);
  return writer.take();
}

void encodeDocument(const ValueType& type, const void* value, JSONStyle style,
                    const JSONSink& sink) {
  JSONWriter writer(style, sink);
  encodeInto(writer, type, value);
  writer.flush();
}

}  // namespace tavrine::detail
