// The records of a snapshot for nlohmann/json: its own macros over our types, so that both sides
// read and write the very same values.
//
// Where every key is always there, the macro is the one that asks for no defaults, which is the
// faster. Identifiers, times and vocabularies are converted by our own code, which is faster than
// anything nlohmann/json has for that.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/vocabulary.h>

#include <string>

#include "benchmarks/nlohmann_optional.h"

template <>
struct nlohmann::adl_serializer<tavrine::Timestamp> {
  static void from_json(const json& j, tavrine::Timestamp& value) {
    value = tavrine::timestampFromISO8601(j.get_ref<const std::string&>()).value();
  }
  static void to_json(json& j, tavrine::Timestamp value) {
    j = tavrine::iso8601Text(value).value();
  }
};

template <>
struct nlohmann::adl_serializer<tavrine::UUID> {
  static void from_json(const json& j, tavrine::UUID& value) {
    value = tavrine::UUID::fromText(j.get_ref<const std::string&>()).value();
  }
  static void to_json(json& j, const tavrine::UUID& value) { j = value.text(); }
};

template <tavrine::VocabularyType V>
struct nlohmann::adl_serializer<V> {
  static void from_json(const json& j, V& value) {
    value = V::fromRawValue(j.get_ref<const std::string&>()).value();
  }
  static void to_json(json& j, const V& value) { j = value.rawValue(); }
};

namespace tavrine {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(GPUStat, index, name, utilizationPercent,
                                                memoryUsedMB, memoryTotalMB, temperatureC,
                                                powerDrawW, powerLimitW, fanSpeedPercent,
                                                smClockMHz, memClockMHz, eccErrorsTotal,
                                                pcieLinkGen, pcieLinkWidth, pstate)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ServerSummary, id, name, host, state, gpus,
                                                activeRuns, diskFreeGB, lastSeen)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ProcessStat, serverName, pid, parentPID, owner,
                                                state, cpuPercent, memoryPercent, residentMemoryKB,
                                                gpuMemoryMB, gpuBusID, elapsed, executable, command,
                                                kind, capturedAt)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StackFrame, thread, frames)
// The macros know no keys other than the names of the members.
inline void from_json(const nlohmann::json& j, DCGMSample& value) {
  const DCGMSample defaults{};
  value.fp32Active = j.value("fp32_active", defaults.fp32Active);
  value.tensorActive = j.value("tensor_active", defaults.tensorActive);
  value.dramActive = j.value("dram_active", defaults.dramActive);
  value.tflopsAchieved = j.value("tflops_achieved", defaults.tflopsAchieved);
  value.tflopsPeak = j.value("tflops_peak", defaults.tflopsPeak);
  value.reason = j.value("reason", defaults.reason);
}
inline void to_json(nlohmann::json& j, const DCGMSample& value) {
  j["fp32_active"] = value.fp32Active;
  j["tensor_active"] = value.tensorActive;
  j["dram_active"] = value.dramActive;
  j["tflops_achieved"] = value.tflopsAchieved;
  j["tflops_peak"] = value.tflopsPeak;
  j["reason"] = value.reason;
}

inline void from_json(const nlohmann::json& j, RecorderLogPoint& value) {
  const RecorderLogPoint defaults{};
  value.t = j.value("t", defaults.t);
  value.phase = j.value("phase", defaults.phase);
  value.gpuUtil = j.value("gpu_util", defaults.gpuUtil);
  value.vramMB = j.value("vram_mb", defaults.vramMB);
  value.powerW = j.value("power_w", defaults.powerW);
  value.dcgm = j.value("dcgm", defaults.dcgm);
  value.pySpy = j.value("py_spy", defaults.pySpy);
  value.text = j.value("text", defaults.text);
  value.cmdline = j.value("cmdline", defaults.cmdline);
}
inline void to_json(nlohmann::json& j, const RecorderLogPoint& value) {
  j["t"] = value.t;
  j["phase"] = value.phase;
  j["gpu_util"] = value.gpuUtil;
  j["vram_mb"] = value.vramMB;
  j["power_w"] = value.powerW;
  j["dcgm"] = value.dcgm;
  j["py_spy"] = value.pySpy;
  j["text"] = value.text;
  j["cmdline"] = value.cmdline;
}

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(RecorderActiveEntry, pid, owner, logPath,
                                                adoptedFrom, cmdline, openedAt)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(RecorderHealth, serverName, logRoot, activePids,
                                                activeRecorders, adoptedPaths, diskUsageGB, capGB,
                                                alertThresholdGB, retentionDays, ptraceScope,
                                                pySpyAvailable, dcgmAvailable, nvidiaSmiAvailable,
                                                lastAlertSentAt)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(TrainingMetric, step, timestamp, loss, throughput, flopsTFLOPs,
                                   gpuUtilization)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(CheckpointSummary, id, name, timestamp, sizeGB, isBest)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(
    TrainingRun, id, name, serverName, framework, status, health, startedAt, etaSeconds,
    currentLoss, throughput, flopsTFLOPs, gpuUtilization, vramUsedGB, vramTotalGB, powerDrawW,
    logTail, metrics, checkpoints, hyperparameters, datasetName, modelName, checkpointPath,
    valMetrics, dcgmTFLOPsAchieved, dcgmTFLOPsPeak, dcgmTensorActive, dcgmFP32Active,
    dcgmDRAMActive, recorderLogPath, adoptedFromPath, lastStackSample, lastRecorderPointAt,
    recorderPoints)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(AgentStatus, serverName, ok, version, startedAt,
                                                generatedAt, cacheGeneratedAt, intervalSeconds,
                                                processLimit)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(CPUTemperature, label, celsius)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(DiskIORate, device, readKBps, writeKBps,
                                                utilizationPercent)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SystemSensors, serverName, capturedAt, cpuTemperatures, diskIO,
                                   loadAverage)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ModelManager::Available, profile, label, model, precision, gpus,
                                   downloaded)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ModelManager, serverName, running, model,
                                                configuredModel, tier, tierReason, selectedProfile,
                                                available)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(TavrineAlert, id, severity, title, message,
                                                serverName, runName, timestamp)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LabEvent, id, timestamp, severity, category, title,
                                                message, serverName, username, processPID, command)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LabEventStoreSummary, serverName, enabled, path,
                                                selectedDay, selectedDayEventCount, exportLimit,
                                                sizeBytes, estimatedYearBytes, eventCount,
                                                observedDays, alertThresholdBytes, alertRecipient,
                                                emailTemplate, availableEmailTemplates, lastEmailAt,
                                                lastEmailError, lastTestEmailAt, lastTestEmailError,
                                                smtpHost, smtpPort, smtpFrom, smtpStartTLS, error)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(NetworkInterfaceStat, name, kind, addressSummary,
                                                rxBytes, txBytes, rxPackets, txPackets)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(NetworkConnectionStat, protocolName, state,
                                                localAddress, remoteAddress, processName, username,
                                                pid, lat, lon, countryCode, countryName, asnLabel,
                                                threatScore, threatLabel, direction)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(NetworkInsight, id, severity, title, detail)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(PacketThreatAnalysis, connectionKey, threatScore, classification,
                                   ipRangeInfo, reasoning)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(SSHAuthEvent, id, type, remoteIP, user, port, lat,
                                                lon, countryCode, countryName, asnLabel,
                                                threatScore, attemptCount, firstSeen, lastSeen,
                                                rawLine)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(RetentionStats, sizeBytes, capBytes, dayFileCount,
                                                oldestDay, newestDay, path, lastEvictedDay,
                                                appendedThisCycle)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(NetworkSummary, serverName, generatedAt,
                                                totalRxBytes, totalTxBytes, interfaces, connections,
                                                insights, aiSummary, summarySource, packetAnalyses,
                                                sshEvents, serverPublicIP, rawAuthLog, sshLogStatus,
                                                retention)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ConnectionSource, source, displayName, kind,
                                                vpnProbability, evidence, isCurrent, countryCode,
                                                countryName, countryFlag, networkLabel)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(StudentUsage, username, processCount,
                                                trainingProcessCount, cpuPercent, memoryGB,
                                                gpuMemoryGB, loginCount, lastLogin, activeCommands,
                                                recentCommands, connectionSources)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(UsageSummary, serverName, generatedAt, days, summary,
                                   summarySource, students)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AppSnapshot, timestamp, servers, runs, alerts, processes,
                                   usageSummaries, networkSummaries, agentStatuses, labEvents,
                                   labEventStores, sensors, recorderHealth, modelManagers)

}  // namespace tavrine
