// Everything the library offers, for those who want one include.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/foundation/precondition.h>
#include <TavrineShared/foundation/text_position.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/alert_event.h>
#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/model/json_schema.h>
#include <TavrineShared/model/network_security.h>
#include <TavrineShared/model/process.h>
#include <TavrineShared/model/stable_id.h>
#include <TavrineShared/model/status.h>
#include <TavrineShared/model/training_run.h>
#include <TavrineShared/model/usage.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/text_rules.h>
#include <TavrineShared/recorder/recorder_records.h>
#include <TavrineShared/store/snapshot_disk_store.h>
