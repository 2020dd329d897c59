#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/demo/demo_moments.h"

namespace tavrine {
namespace {

using testing::SizeIs;
using testing::StartsWith;

NetworkSummary network() { return lab(1).networkSummaries.at(0); }

NetworkConnectionStat connectionOf(std::string_view asnLabel) {
  const NetworkSummary summary = network();
  for (const NetworkConnectionStat& connection : summary.connections) {
    if (connection.asnLabel == asnLabel) return connection;
  }
  ADD_FAILURE() << "no connection to " << asnLabel;
  return {};
}

TEST(SampleDataNetwork, isThatOfTheFirstServer) {
  EXPECT_THAT(lab(1).networkSummaries, SizeIs(1));
  const NetworkSummary summary = network();
  EXPECT_EQ(summary.serverName, "gpu-lab-a");
  EXPECT_EQ(summary.generatedAt, kNow);
  ASSERT_THAT(summary.interfaces, SizeIs(2));
  EXPECT_EQ(summary.interfaces[0].kind, "ethernet");
  EXPECT_EQ(summary.interfaces[1].kind, "loopback");
  EXPECT_EQ(summary.totalRxBytes, summary.interfaces[0].rxBytes + summary.interfaces[1].rxBytes);
  EXPECT_EQ(summary.totalTxBytes, summary.interfaces[0].txBytes + summary.interfaces[1].txBytes);
  EXPECT_EQ(summary.aiSummary,
            "Demo server gpu-lab-a has 8 sampled connections. Two inbound SSH attempts from "
            "high-risk sources (China, Russia) with no process owner match \xE2\x80\x94 likely "
            "automated probes. One Tor exit-node connection warrants log review. Remaining traffic "
            "is legitimate campus, cloud, and NTP traffic.");
}

TEST(SampleDataNetwork, hasEightConnectionsToPublicAddressesForDocumentation) {
  const NetworkSummary summary = network();
  ASSERT_THAT(summary.connections, SizeIs(8));
  for (const NetworkConnectionStat& connection : summary.connections) {
    EXPECT_THAT(connection.localAddress, StartsWith("10.0.1.42:"));
    EXPECT_THAT(connection.remoteAddress,
                testing::AnyOf(StartsWith("192.0.2."),
                               StartsWith("198.51.100."),
                               StartsWith("203.0.113.")));
    EXPECT_TRUE(connection.coordinate());
  }
}

TEST(SampleDataNetwork, hasSSHFromNearAndFar) {
  for (const char* const label : {"Brenhall campus",
                                  "Public internet / China Telecom",
                                  "Yandex LLC / Russia",
                                  "Tor exit node / Germany"}) {
    EXPECT_EQ(connectionOf(label).localAddress, "10.0.1.42:22") << label;
  }
  EXPECT_EQ(connectionOf("Linode / United States").localAddress, "10.0.1.42:8080");
  const auto countTo = [](std::string_view port) {
    const auto connections = network().connections;
    return std::count_if(connections.begin(), connections.end(), [port](const auto& connection) {
      return connection.remoteAddress.ends_with(port);
    });
  };
  EXPECT_EQ(countTo(":443"), 2);
  EXPECT_EQ(countTo(":123"), 1);
}

TEST(SampleDataNetwork, leavesProbesWithoutAProcess) {
  for (const char* const label : {"Public internet / China Telecom",
                                  "Yandex LLC / Russia",
                                  "Tor exit node / Germany",
                                  "Linode / United States"}) {
    const NetworkConnectionStat probe = connectionOf(label);
    EXPECT_FALSE(probe.processName || probe.username || probe.pid) << label;
  }
}

TEST(SampleDataNetwork, namesProcessesOfTheTable) {
  const AppSnapshot snapshot = lab(1);
  int named = 0;
  for (const NetworkConnectionStat& connection : snapshot.networkSummaries[0].connections) {
    for (const ProcessStat& process : snapshot.processes) {
      if (process.serverName != "gpu-lab-a" || process.pid != connection.pid) continue;
      EXPECT_EQ(connection.username, process.owner);
      EXPECT_EQ(connection.processName, process.executable);
      ++named;
    }
  }
  EXPECT_EQ(named, 3);
}

TEST(SampleDataNetwork, hasThreeInsights) {
  const NetworkSummary summary = network();
  ASSERT_THAT(summary.insights, SizeIs(3));
  EXPECT_EQ(summary.insights[0].title, "Suspicious SSH probe");
  EXPECT_EQ(summary.insights[0].detail,
            "2 SSH connections from high-risk countries (CN, RU) with no matched process name.");
  EXPECT_EQ(summary.insights[1].title, "Tor exit node observed");
  EXPECT_EQ(summary.insights[2].title, "Training traffic normal");
  EXPECT_EQ(summary.insights[2].detail,
            "Outbound ML API traffic to Google Cloud appears legitimate.");
}

TEST(SampleDataNetwork, namesTheTorRelayByTheAddressOfItsConnection) {
  const std::string end = connectionOf("Tor exit node / Germany").remoteAddress;
  EXPECT_EQ(network().insights[1].detail,
            end.substr(0, end.find(':')) + " is a known Tor exit node. Review access logs.");
}

TEST(SampleDataNetwork, judgesFourOfItsConnections) {
  struct Row {
    const char* asnLabel;
    double score;
    const char* reasoning;
  };
  const std::vector<Row> want = {
      {"Public internet / China Telecom",
       0.65,
       "Inbound SSH from Chinese telecom IP with no matching process owner. Consistent with "
       "automated credential-stuffing probe."},
      {"Tor exit node / Germany",
       0.5,
       "Source is a known Tor exit relay. Anonymised origin prevents attribution. Treat as "
       "untrusted."},
      {"Yandex LLC / Russia",
       0.65,
       "Inbound SSH from Russian CDN provider with no owning process. Likely scanner or bot "
       "infrastructure."},
      {"Linode / United States",
       0.15,
       "US-hosted cloud IP on non-standard port. No process name; worth monitoring but low "
       "confidence of malice."}};
  const NetworkSummary summary = network();
  ASSERT_EQ(summary.packetAnalyses.size(), want.size());
  for (std::size_t i = 0; i < want.size(); ++i) {
    const PacketThreatAnalysis& analysis = summary.packetAnalyses[i];
    const NetworkConnectionStat connection = connectionOf(want[i].asnLabel);
    EXPECT_EQ(analysis.connectionKey,
              "tcp-" + connection.remoteAddress + "-" + connection.localAddress);
    EXPECT_EQ(analysis.threatScore, want[i].score);
    EXPECT_EQ(connection.threatScore, want[i].score);
    EXPECT_EQ(analysis.reasoning, want[i].reasoning);
  }
}

TEST(SampleDataNetwork, logsTheLoginsBehindItsConnections) {
  const NetworkSummary summary = network();
  std::string log;
  for (const SSHAuthEvent& event : summary.sshEvents) {
    const auto isIt = [&event](const NetworkConnectionStat& connection) {
      return connection.remoteAddress == event.remoteIP + ":" + std::to_string(event.port) &&
             connection.asnLabel == event.asnLabel;
    };
    EXPECT_TRUE(std::any_of(summary.connections.begin(), summary.connections.end(), isIt))
        << event.id;
    EXPECT_LE(event.firstSeen, event.lastSeen);
    EXPECT_THAT(event.rawLine, StartsWith(*iso8601Text(*event.lastSeen) + " gpu-lab-a sshd: "));
    log.append(event.rawLine).append("\n");
  }
  EXPECT_THAT(summary.sshEvents, SizeIs(4));
  EXPECT_EQ(summary.rawAuthLog, log);
  EXPECT_EQ(summary.retention->newestDay, "2026-11-15");
  EXPECT_EQ(summary.retention->oldestDay, "2026-11-06");
  EXPECT_EQ(summary.retention->dayFileCount, 10);
}

}  // namespace
}  // namespace tavrine
