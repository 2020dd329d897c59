// Everything the library offers, for those who want one include.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/foundation/text_position.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/stable_id.h>
#include <TavrineShared/model/status.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/text_rules.h>
