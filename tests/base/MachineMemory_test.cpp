// What the system says of memory and cores, from files that stand for those of a machine.
#include "base/MachineMemory.h"

#include <filesystem>
#include <limits>
#include <utility>
#include <vector>

#include "base/MachineCores.h"
#include "kiv/threads.h"
#include "support/FolderTest.h"

namespace kiv {
namespace {

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();

class MachineMemory : public FolderTest {
  protected:
    using Files = std::vector<std::pair<std::string, std::string>>;

    static void MakeRoot(const Files& files) {
        std::filesystem::remove_all("root");
        for (const auto& [name, text] : files) {
            const std::filesystem::path path = "root/" + name;
            std::filesystem::create_directories(path.parent_path());
            WriteText(path, text);
        }
    }

    // What a machine with these files has to spare.
    static std::int64_t Available(const Files& files) {
        MakeRoot(files);
        return AvailableMemory("root");
    }

    static int Cores(const Files& files) {
        MakeRoot(files);
        return CoresOfGroups("root");
    }
};

const char kInfo[] = "proc/meminfo";
const char kGroups[] = "proc/self/cgroup";

TEST_F(MachineMemory, IsWhatTheSystemSays) {
    EXPECT_EQ(Available({}), kNoLimit);
    EXPECT_EQ(Available({{kInfo, "MemTotal: 9 kB\nMemFree: 1 kB\n"}}), kNoLimit);
    EXPECT_EQ(Available({{kInfo, "MemTotal:  9000 kB\nMemFree: 1 kB\nMemAvailable:   7000 kB\n"}}),
              7168000);
    EXPECT_GT(AvailableMemory(), 0);
}

// Each group around the process has a limit of its own, of which files that can be dropped do not
// count as used.
TEST_F(MachineMemory, IsWhatTheInnermostAndOuterGroupsLeave) {
    const std::string top = "sys/fs/cgroup/";
    const Files nested = {{kInfo, "MemAvailable: 7000 kB\n"},
                          {kGroups, "1:name=systemd:/x\n0::/a/b\n"},
                          {top + "a/b/memory.max", "max\n"},
                          {top + "a/b/memory.current", "350000\n"},
                          {top + "a/memory.max", "1000000\n"},
                          {top + "a/memory.current", "400000\n"},
                          {top + "a/memory.stat", "anon 5\nfile 9\ninactive_file 150000\n"}};
    EXPECT_EQ(Available(nested), 750000);
    const auto with = [&](const std::string& name, const std::string& text) {
        Files files = nested;
        files.emplace_back(top + name, text);
        return Available(files);
    };
    EXPECT_EQ(with("a/b/memory.max", "500000\n"), 150000);
    EXPECT_EQ(with("memory.max", "200000\n"), 200000) << "a top group without a count of its use";
    EXPECT_EQ(with("a/memory.current", "2000000\n"), 0);
    EXPECT_EQ(with("a/memory.stat", "inactive_file 500000\n"), 1000000) << "no more than is used";
    EXPECT_EQ(with("a/memory.max", "99999999999\n"), 7168000) << "the machine has less";
    EXPECT_EQ(Available({{kGroups, "0::/\n"}, {top + "memory.max", "70\n"}}), 70);
}

// In a container the folder of the process's own group may be the top one.
TEST_F(MachineMemory, IsWhatTheGroupsOfVersionOneLeave) {
    const std::string top = "sys/fs/cgroup/memory/";
    Files files = {{kGroups, "5:cpu,cpuacct:/q\n4:memory:/pod/abc\n0::/none\n"},
                   {top + "memory.limit_in_bytes", "9223372036854771712\n"},
                   {top + "memory.usage_in_bytes", "300\n"},
                   {top + "memory.stat", "inactive_file 7\ntotal_inactive_file 100\n"}};
    EXPECT_EQ(Available(files), 9223372036854771712 - 200);
    files[1].second = "1000\n";
    EXPECT_EQ(Available(files), 800);
    files.emplace_back(top + "pod/abc/memory.limit_in_bytes", "600\n");
    EXPECT_EQ(Available(files), 600);
}

TEST_F(MachineMemory, CoresAreTheSmallestShareOfTheGroups) {
    const std::string top = "sys/fs/cgroup/";
    const auto nested = [&](const std::string& inner, const std::string& outer) {
        return Cores({{kGroups, "0::/a/b\n"},
                      {top + "a/b/cpu.max", inner},
                      {top + "a/cpu.max", outer},
                      {top + "cpu/a/b/cpu.cfs_quota_us", "1\n"}});
    };
    EXPECT_EQ(nested("max 100000\n", "max 100000\n"), kAnyCores);
    EXPECT_EQ(nested("max 100000\n", "150000 100000\n"), 2) << "one and a half";
    EXPECT_EQ(nested("300000 100000\n", "800000 100000\n"), 3);
    EXPECT_EQ(nested("5000 100000\n", ""), 1);
    EXPECT_EQ(nested("", "100000\n"), kAnyCores) << "no period";
    EXPECT_EQ(nested("100000 0\n", "-1 5\n"), kAnyCores);
    EXPECT_EQ(Cores({}), kAnyCores);

    Files one = {{kGroups, "4:cpu,cpuacct:/pod\n3:cpuset:/q\n0::/none\n"},
                 {top + "cpu/cpu.cfs_quota_us", "-1\n"},
                 {top + "cpu/cpu.cfs_period_us", "100000\n"},
                 {top + "cpuset/q/cpu.cfs_quota_us", "1\n"}};
    EXPECT_EQ(Cores(one), kAnyCores) << "version 1, no limit";
    one.emplace_back(top + "cpu/pod/cpu.cfs_quota_us", "250000\n");
    EXPECT_EQ(Cores(one), kAnyCores);
    one.emplace_back(top + "cpu/pod/cpu.cfs_period_us", "50000\n");
    EXPECT_EQ(Cores(one), 5);
    EXPECT_GE(UsableCores(), 1);
    EXPECT_LE(UsableCores(), CoresOfGroups());
}

}  // namespace
}  // namespace kiv
