#include "guest/agent/metrics/nodeMetrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/statfs.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "guest/agent/metrics/metricLines.h"
#include "testing/temporaryFolder.h"

namespace GuestAgent {
namespace {

using ::testing::HasSubstr;

// The kernel's folders of a VM with 8 processors, one disk of two filesystems, and two networks.
class NodeMetricsTest : public ::testing::Test {
 protected:
  NodeMetricsTest() {
    for (const char* folder : {"proc/self", "proc/net", "proc/pressure", "sys/block/vda/vda1",
                               "sys/block/vda/device", "sys/block/dm-0", "sys/block/loop0", "boot/bind"}) {
      std::filesystem::create_directories(folder_ / folder);
    }
    folder_.Write("proc/loadavg", "0.12 1.50 20.00 3/456 7890\n");
    folder_.Write("proc/uptime", "46374.22 90000.00\n");
    folder_.Write(
        "proc/meminfo",
        "MemTotal:        4028440 kB\nMemFree:  1000 kB\nMemAvailable:  2000 kB\nBuffers:  30 kB\n"
        "Cached:   40 kB\nSwapCached:   7 kB\nSwapTotal:   500 kB\nSwapFree:   400 kB\nSlab:  60 kB\n"
        "SReclaimable:  50 kB\nHugePages_Total:       0\n");
    folder_.Write("proc/vmstat", "pgpgin 1\npswpin 11\npswpout 12\n");
    folder_.Write("proc/pressure/cpu", Stalls(14560928331, 0));
    folder_.Write("proc/pressure/io", Stalls(1500000, 7));
    folder_.Write("proc/pressure/memory", Stalls(2, 1));
    folder_.Write("proc/diskstats",
                  "   7       0 loop0 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9\n"
                  " 254       0 vda 100 1 2000 3 400 5 6000 7 0 8500 9 10 11 12 13 14 15\n"
                  " 254       1 vda1 90 1 1000 3 300 5 5000 7 0 8000 9 10 11 12 13 14 15\n"
                  " 252       0 dm-0 90 1 1000 3 300 5 5000 7 0 8000 9 10 11 12 13 14 15\n");
    folder_.Write("proc/net/dev", Networks("    lo: 1 2 3 4 0 0 0 0 5 6 7 8 0 0 0 0\n"
                                           "  ens3: 18446744073709551615 20 3 4 0 0 0 0 50 60 7 8 0 0 0 0\n"
                                           "  ens4:0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n"));
    WriteStat(8);
    WriteMounts(
        "26 1 254:1 / / ro,relatime shared:1 - ext4 /dev/vda1 rw,discard\n"
        "27 26 254:2 / " +
        Boot() +
        " rw,relatime - vfat /dev/vda2 ro,fmask=0022\n"
        "28 26 0:20 / /proc rw - proc proc rw\n29 26 0:21 / /dev/shm rw - tmpfs tmpfs rw\n"
        "30 26 254:1 /var/lib/hesper " +
        Boot() + "/bind rw - ext4 /dev/vda1 rw,discard\n");
  }

  static std::string Stalls(std::uint64_t some, std::uint64_t full) {
    const std::string averages = " avg10=0.00 avg60=0.24 avg300=0.57 total=";
    return "some" + averages + std::to_string(some) + "\nfull" + averages + std::to_string(full) + "\n";
  }
  static std::string Networks(const std::string& lines) {
    return "Inter-|   Receive                 |  Transmit\n face |bytes    packets errs|bytes\n" + lines;
  }
  void WriteStat(int processors) const {
    std::string text = "cpu  4415432 100 5 250 12109 6 7 8 900 0\n";
    for (int i = 0; i < processors; ++i) text += "cpu" + std::to_string(i) + " 1 2 3 4 5 6 7 8 9 0\n";
    folder_.Write("proc/stat", text +
                                   "intr 1 2 3\nctxt 5\nbtime 1795627770\nprocesses 359542\n"
                                   "procs_running 3\nprocs_blocked 2\nsoftirq 1 2\n");
  }
  void WriteMounts(const std::string& text) const { folder_.Write("proc/self/mountinfo", text); }
  std::string Boot() const { return folder_ / "boot"; }

  // One that any reader of OpenMetrics takes: good lines, no family and no series twice, within the bound.
  std::string Text() {
    std::string text = metrics_.Text();
    EXPECT_EQ(FaultOfMetrics(text), "");
    EXPECT_TRUE(text.ends_with("\n# EOF\n"));
    EXPECT_LE(text.size(), 32U << 10);
    std::set<std::string> seen;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_TRUE(seen.insert(line.substr(0, line.rfind(' '))).second || line.empty()) << line;
    }
    return text;
  }
  static int Count(const std::string& text, const std::string& start) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find("\n" + start, at)) != std::string::npos; ++at) ++count;
    return count;
  }

  Testing::TemporaryFolder folder_;
  NodeMetrics metrics_{{folder_ / "proc", folder_ / "sys", folder_ / "bus"}};
};

TEST_F(NodeMetricsTest, FiguresOfAUsualVm) {
  const std::string text = Text();
  for (const char* line : {"# TYPE node_load1 gauge\nnode_load1 0.12",
                           "node_load5 1.50",
                           "node_load15 20.00",
                           "# TYPE node_cpu_seconds counter\nnode_cpu_seconds_total{mode=\"user\"} 44154.32",
                           "node_cpu_seconds_total{mode=\"system\"} 0.05",
                           "node_cpu_seconds_total{mode=\"steal\"} 0.08",
                           "node_cpus 8",
                           "node_procs_running 3",
                           "node_procs_blocked 2",
                           "node_forks_total 359542",
                           "node_boot_time_seconds 1795627770",
                           "node_uptime_seconds 46374.22",
                           "node_memory_MemTotal_bytes 4125122560",
                           "node_memory_Cached_bytes 40960",
                           "node_memory_SwapFree_bytes 409600",
                           "# TYPE node_vmstat_pswpin unknown\nnode_vmstat_pswpin 11",
                           "node_vmstat_pswpout 12",
                           "node_pressure_cpu_waiting_seconds_total 14560.928331",
                           "node_pressure_io_waiting_seconds_total 1.500000",
                           "node_pressure_io_stalled_seconds_total 0.000007",
                           "node_pressure_memory_waiting_seconds_total 0.000002",
                           "node_disk_reads_completed_total{device=\"vda\"} 100",
                           "node_disk_read_bytes_total{device=\"vda\"} 1024000",
                           "node_disk_writes_completed_total{device=\"vda\"} 400",
                           "node_disk_written_bytes_total{device=\"vda\"} 3072000",
                           "node_disk_io_time_seconds_total{device=\"vda\"} 8.500",
                           "node_network_receive_bytes_total{device=\"ens3\"} 18446744073709551615",
                           "node_network_receive_errs_total{device=\"ens3\"} 3",
                           "node_network_transmit_packets_total{device=\"ens3\"} 60",
                           "node_network_transmit_drop_total{device=\"ens4\"} 0"}) {
    EXPECT_THAT("\n" + text, HasSubstr("\n" + std::string(line) + "\n"));
  }
  EXPECT_EQ(Count(text, "node_disk_read_bytes_total"), 1);
  EXPECT_EQ(Count(text, "node_network_receive_bytes_total"), 2);
  EXPECT_LT(text.size(), 8U << 10);
  ::testing::Test::RecordProperty("bytes", static_cast<int>(text.size()));
}

TEST_F(NodeMetricsTest, AFilesystemIsTheDisksAndHasItsOwnReadOnlyState) {
  const std::string text = Text();
  struct statfs root;
  ASSERT_EQ(statfs("/", &root), 0);
  const std::string labels = "{device=\"/dev/vda1\",fstype=\"ext4\",mountpoint=\"/\"} ";
  const auto size = root.f_blocks * static_cast<std::uint64_t>(root.f_frsize);
  EXPECT_THAT(text, HasSubstr("node_filesystem_size_bytes" + labels + std::to_string(size) + "\n"));
  EXPECT_THAT(text, HasSubstr("node_filesystem_files" + labels + std::to_string(root.f_files) + "\n"));
  EXPECT_THAT(text, HasSubstr("node_filesystem_readonly" + labels + "0\n"));
  EXPECT_THAT(text, HasSubstr("node_filesystem_readonly{device=\"/dev/vda2\",fstype=\"vfat\",mountpoint=\"" +
                              Boot() + "\"} 1\n"));
  EXPECT_EQ(Count(text, "node_filesystem_readonly"), 2);
}

TEST_F(NodeMetricsTest, WhatIsNoDiskOfThisVmOrCouldBeWaitedForIsLeftOut) {
  const std::string at = Boot();
  for (const std::string& mounts :
       {"1 1 0:50 / " + at + " rw - nfs4 host:/x rw\n",
        "1 1 0:50 / " + at + " rw - fuse.sshfs /dev/fuse rw\n",
        "1 1 0:50 / " + at + " rw - fuseblk /dev/vdb rw\n", "1 1 0:50 / " + at + " rw - 9p /dev/root rw\n",
        "1 1 7:1 / " + at + " rw - ext4 /dev/loop1 rw\n",
        "1 1 7:1 / " + at + " rw - squashfs /dev/loop1 ro\n",
        "1 1 0:50 / " + at + " rw - overlay overlay rw\n", "1 1 0:50 / " + at + " rw - tmpfs /dev/x rw\n",
        // Something else lies over it, or on the way to it.
        "1 1 8:1 / " + at + " rw - ext4 /dev/sda1 rw\n2 1 0:50 / " + at + " rw - tmpfs tmpfs rw\n",
        "1 1 8:1 / " + at + " rw - ext4 /dev/sda1 rw\n2 1 0:50 / " +
            std::filesystem::path(at).parent_path().string() + " rw - tmpfs tmpfs rw\n",
        "1 1 0:50 / " + at + " rw - nfs host:/x rw\n2 1 8:1 / " + at + "/bind rw - ext4 /dev/sda1 rw\n",
        "1 1 0:50 / " + at + " rw - autofs systemd-1 rw\n2 1 8:1 / " + at + " rw - ext4 /dev/sda1 rw\n",
        // It isn't there, or the line is none.
        "1 1 8:1 / " + at + "/none rw - ext4 /dev/sda1 rw\n",
        "1 1 8:1 / " + at + " rw ext4 /dev/sda1 rw - x\n", std::string("1 1 8:1 / / rw -\n")}) {
    WriteMounts(mounts);
    EXPECT_EQ(Count(Text(), "node_filesystem"), 0) << mounts;
  }
  WriteMounts("1 1 8:1 / " + at + " rw - ext4 /dev/sda1 rw\n2 1 0:50 / " + at.substr(0, at.size() - 1) +
              " rw - nfs host:/x rw\n");
  EXPECT_EQ(Count(Text(), "node_filesystem_readonly"), 1);
}

TEST_F(NodeMetricsTest, HostileNamesGiveValidText) {
  const std::string decoded = "a b\n\"q\\\x1b\xff" + std::string(150, '"');
  std::filesystem::create_directories(folder_ / decoded);
  WriteMounts("1 1 8:1 / " + (folder_ / "a\\040b\\012\"q\\134\x1b\xff") + std::string(150, '"') +
              " rw - ext4 /dev/\"\\012\xc3 rw\n");
  folder_.Write("proc/net/dev", Networks(" \"\xff\x01\\:1 2 3 4 0 0 0 0 5 6 7 8 0 0 0 0\n :1 2\n:\n"));
  std::filesystem::create_directories(folder_ / "sys/block/cciss!c0\"/device");
  folder_.Write("proc/diskstats",
                " 1 0 cciss/c0\" 1 1 1 1 1 1 1 1 1 1 1\n 1 0 short 1\n\n 1 0 ../vda 1 1 1 1\n");
  const std::string text = Text();
  EXPECT_THAT(text, HasSubstr("device=\"/dev/\\\"\\\\n\\\\xc3\",fstype=\"ext4\",mountpoint=\""));
  EXPECT_THAT(text, HasSubstr("/a b\\\\n\\\"q\\\\\\\\x1b\\\\xff\\\"\\\""));
  EXPECT_THAT(text, HasSubstr("receive_bytes_total{device=\"\\\"\\\\xff\\\\x01\\\\\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("node_disk_read_bytes_total{device=\"cciss/c0\\\"\"} 512\n"));
}

TEST_F(NodeMetricsTest, ManyOfEachAreBounded) {
  std::string mounts;
  std::string disks;
  std::string networks;
  for (int i = 0; i < 1000; ++i) {
    // Long names, too, of which most are cut to the same one.
    const std::string number = std::to_string(i);
    const std::string name = (i < 8 ? "" : std::string(200, 'x') + "/" + std::string(200, 'x')) + number;
    if (i < 60) std::filesystem::create_directories(folder_ / name);
    mounts +=
        "1 1 8:" + number + " / " + (folder_ / name) + " rw - ext4 /dev/" + std::string(300, '"') + " rw\n";
    if (i < 100) std::filesystem::create_directories(folder_ / "sys/block/d" + number + "/device");
    if (i < 100) disks += " 8 0 d" + number + " 1 1 1 1 1 1 1 1 1 1 1\n";
    networks += " veth" + number + ": 1 2 3 4 0 0 0 0 5 6 7 8 0 0 0 0\n";
  }
  std::filesystem::create_directories(folder_ / "sys/class/net/own/device");
  WriteMounts(mounts);
  folder_.Write("proc/diskstats", disks);
  folder_.Write("proc/net/dev", Networks(networks + " own: 1 2 3 4 0 0 0 0 5 6 7 8 0 0 0 0\n"));
  WriteStat(1000);
  const std::string text = Text();
  EXPECT_THAT(text, HasSubstr("\nnode_cpus 1000\n"));
  EXPECT_THAT(text, HasSubstr("{device=\"own\"}"));
  EXPECT_EQ(Count(text, "node_network_receive_bytes_total{"), 16);
  EXPECT_EQ(Count(text, "node_disk_read_bytes_total{"), 16);
  EXPECT_EQ(Count(text, "node_filesystem_size_bytes{"), 9);
}

TEST_F(NodeMetricsTest, OfManyFilesystemsSixtyFourAreLookedAtAndSixteenTold) {
  std::string mounts;
  for (int i = 0; i < 80; ++i) {
    const std::string number = std::to_string(i);
    if (i >= 40) std::filesystem::create_directories(folder_ / ("m" + number));
    mounts += "1 1 8:" + number + " / " + (folder_ / ("m" + number)) + " rw - ext4 /dev/d" + number + " rw\n";
  }
  WriteMounts(mounts);
  EXPECT_EQ(Count(Text(), "node_filesystem_size_bytes{"), 16);
  for (int i = 40; i < 60; ++i) std::filesystem::remove(folder_ / ("m" + std::to_string(i)));
  EXPECT_EQ(Count(Text(), "node_filesystem_size_bytes{"), 4);
}

TEST_F(NodeMetricsTest, WhatIsMissingOrBrokenIsLeftOut) {
  for (const char* file : {"loadavg", "stat", "uptime", "meminfo", "vmstat", "self/mountinfo", "diskstats",
                           "net/dev", "pressure/cpu", "pressure/io"}) {
    folder_.Write("proc/" + std::string(file), "\0 cpu ro : : - \xff some total=-1\n");
  }
  std::filesystem::remove(folder_ / "proc/pressure/memory");
  folder_.Write("proc/loadavg", "1e9 NaN 1.\n");
  folder_.Write("proc/meminfo",
                "MemTotal: lots kB\nMemFree:\nMemAvailable: 99999999999999999999999 kB\nSlab: 1");
  // Its end, with the time of the start, is beyond what is read.
  WriteStat(20000);
  const std::string text = Text();
  EXPECT_THAT(text, ::testing::Not(HasSubstr("node_boot_time_seconds")));
  EXPECT_THAT(text.substr(text.find("\nnode_cpus")),
              ::testing::MatchesRegex("\nnode_cpus [0-9]+\n# TYPE node_time_seconds gauge\n"
                                      "node_time_seconds [0-9.]+\n# EOF\n"));
}

}  // namespace
}  // namespace GuestAgent
