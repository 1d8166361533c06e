// tarnctl through its real binary: scripts written to a temporary directory, stdout, stderr and
// the exit status compared.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>

namespace {

struct Result {
  int code;
  std::string out;
  std::string err;
};

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream(path) << text;
}

class TarnctlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/tarnctl-test-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
  }
  void TearDown() override { ASSERT_EQ(std::system(("rm -rf " + dir_).c_str()), 0); }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  // Writes `text` as script `name` and returns its path.
  std::string script(const std::string& name, const std::string& text) const {
    writeFile(path(name), text);
    return path(name);
  }
  Result tarnctl(const std::string& args) const {
    std::string cmd = std::string(TARNCTL_PATH) + " " + args + " >" + path("out") + " 2>" +
                      path("err") + " </dev/null";
    int status = std::system(cmd.c_str());
    return Result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(path("out")),
                  readFile(path("err"))};
  }

  std::string dir_;
};

// The lines of `text` between the line equal to `from` and the next line starting with "> ".
std::string section(const std::string& text, const std::string& from) {
  auto b = text.find("\n" + from + "\n");
  if (b == std::string::npos) return "";
  b += from.size() + 2;
  auto e = text.find("\n> ", b);
  return text.substr(b, e == std::string::npos ? std::string::npos : e - b + 1);
}

TEST_F(TarnctlTest, DemoShowsWritesWithRegistersAndAWarmRestartThatRepairsOneRow) {
  Result r = tarnctl("run --tables arp");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("cold-started on a simulated 'default' chip (48 ports): 3072 rows written"),
            std::string::npos);
  EXPECT_EQ(
      section(r.out, "> set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10"),
      "  write arp.Arp HwIndex 197\n"
      "    word 0 0x00112233 -> egress/processor[1]/lum_data\n"
      "    word 1 0x000060a0 -> egress/processor[1]/lum_ctl_addr_data\n"
      "    word 2 0x4455000a -> egress/processor[1]/lum_data\n"
      "    word 3 0x000060b0 -> egress/processor[1]/lum_ctl_addr_data\n"
      "\nThe same value again: the software table sees no change, so nothing reaches "
      "hardware.\n");
  std::string warm = section(r.out, "> restart warm");
  EXPECT_NE(warm.find("arp: software rebuilt, 2 entries after the restart\n"
                      "  write arp.Arp HwIndex 197\n"),
            std::string::npos);
  EXPECT_EQ(warm.find("write", warm.find("HwIndex 197") + 1), std::string::npos) << warm;
  EXPECT_NE(r.out.find("check passed: 3072 rows match"), std::string::npos);
}

TEST_F(TarnctlTest, DumpListsSoftwareInKeyOrderAndEveryRowAndReplaysToTheSameDump) {
  std::string s = script("a.tarn",
                         "set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10\n"
                         "set arp egressPort=0 rewriteIndex=63 vlanId=4094  # port 0, last row\n"
                         "set arp egressPort=48 rewriteIndex=0 vlanId=1  # no row on 48 ports\n"
                         "set arp egressPort=1 rewriteIndex=1 vlanId=7\n"
                         "del arp egressPort=1 rewriteIndex=1\n");
  Result r = tarnctl("run --quiet --tables arp " + s + " --dump " + path("d.json"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out, "");
  auto d = nlohmann::ordered_json::parse(readFile(path("d.json")));
  EXPECT_EQ(d["profile"].dump(),
            R"({"name":"default","portCount":48,"pipelineCount":4,"portsPerPipeline":12,)"
            R"("hasCpuPipeline":true,"revision":2,"hwApi":"4.1"})");
  const auto& t = d["tables"][0];
  EXPECT_EQ(t["table"], "arp");
  EXPECT_EQ(t["class"], "ArpTable");
  ASSERT_EQ(t["software"].size(), 3u);
  EXPECT_EQ(t["software"][0]["key"].dump(), R"({"egressPort":0,"rewriteIndex":63})");
  EXPECT_EQ(t["software"][2]["key"]["egressPort"], 48);
  EXPECT_EQ(t["software"][1]["result"].dump(), R"({"ethAddr":"00:11:22:33:44:55","vlanId":10})");
  EXPECT_EQ(t["software"][1]["text"],
            "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5}) "
            "Value('TarnSwitchTable::ArpResult', ** {'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})");
  auto hw = t["hardware"][0];
  ASSERT_EQ(hw["rows"].size(), 3072u);
  EXPECT_EQ(hw["rows"][197].dump(), R"({"index":197,"words":[1122867,24736,1146421258,24752]})");
  EXPECT_EQ(hw["rows"][0].dump(), R"({"index":0,"words":[0,16384,0,16400]})");
  hw.erase("rows");
  EXPECT_EQ(hw.dump(), R"({"id":0,"name":"arp.Arp","lower":0,"upper":3071})");

  std::string replayText;  // the dump turned back into a script
  for (const auto& e : t["software"]) {
    replayText += "set arp";
    for (const auto* part : {&e["key"], &e["result"]}) {
      for (const auto& [k, v] : part->items())
        replayText += " " + k + "=" + (v.is_string() ? v.get<std::string>() : v.dump());
    }
    replayText += "\n";
  }
  r = tarnctl("run -q --tables arp " + script("b.tarn", replayText) + " --dump " + path("e.json"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(readFile(path("e.json")), readFile(path("d.json")));
}

// A second process warm-starts on the saved hardware and adopts its entries without a write.
// `restart warm keep` restores software before the start: over matching hardware nothing is
// written, a damaged row costs one write, and software-only entries survive (a plain warm restart
// keeps only what hardware holds). The JSON summary lists the rows each restart wrote.
TEST_F(TarnctlTest, WarmRestartsAcrossProcessesAndKeepingSoftwareWriteOnlyWhatDiffers) {
  const std::string e3 =
      "set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10\n";
  const std::string e47 =
      "set arp egressPort=47 rewriteIndex=63 ethAddr=02:00:00:00:00:09 vlanId=9\n";
  const std::string e48 =  // a software-only entry: no row on 48 ports
      "set arp egressPort=48 rewriteIndex=0 ethAddr=00:00:00:00:00:00 vlanId=1\n";
  ASSERT_EQ(
      tarnctl("run -q --tables arp " + script("1.tarn", e3 + e47) + " --hw-out " + path("hw")).code,
      0);
  std::string s = script("2.tarn", e48 +
                                       "show arp\ncheck\nrestart warm keep\nshow arp\n"
                                       "damage arp index=197 word=1 xor=0x10\n"
                                       "restart warm keep\ncheck\nrestart warm\nshow arp\n"
                                       "restart cold\n");
  Result r = tarnctl("run --json --tables arp --hw-in " + path("hw") + " " + s);
  ASSERT_EQ(r.code, 0) << r.err;
  const std::string all = "arp: 3 entries\n  " + e3 + "  " + e47 + "  " + e48;
  const std::string adopted = "arp: 2 entries\n  " + e3 + "  " + e47;
  auto restart = [&](int line, const std::string& mode, int writes) {
    return R"({"line":")" + s + ":" + std::to_string(line) + R"(","mode":")" + mode +
           R"(","writes":)" + std::to_string(writes) + "}";
  };
  EXPECT_EQ(r.out, all + all + adopted +
                       R"({"lines":11,"commands":11,"startWrites":0,"hwWrites":3,"checks":2,)"
                       R"("checkFailures":0,"tables":[{"table":"arp","entries":0}],"restarts":[)" +
                       restart(4, "warm keep", 0) + "," + restart(7, "warm keep", 1) + "," +
                       restart(9, "warm", 0) + "," + restart(11, "cold", 2) + "]}\n");
  r = tarnctl("run -v --tables arp --hw-in " + path("hw") + " " + s);
  EXPECT_NE(r.out.find("> restart warm keep\n  arp: software rebuilt, 3 entries after the restart\n"
                       "  no hardware write\n"),
            std::string::npos);
}

// A damaged row fails the check (exit 1) until a warm restart rewrites it; a corrupted row is not
// adopted by a warm restart and is written empty.
TEST_F(TarnctlTest, CheckCatchesDamageAndWarmRestartsRepairDamagedAndCorruptedRows) {
  std::string s = script("c.tarn",
                         "set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10\n"
                         "set arp egressPort=3 rewriteIndex=6 vlanId=11\n"
                         "check\n"
                         "damage arp index=197 word=1 xor=0x10\n"
                         "check\n"
                         "restart warm\ncheck\n"
                         "corrupt arp copy=0 index=197\n"
                         "restart warm\nshow arp\ncheck\n");
  Result r = tarnctl("run --tables arp " + s);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, s + ":5: check failed: table arp copy 0 (arp.Arp) HwIndex 197: hardware holds "
                       "0x00112233 0x000060b0 0x4455000a 0x000060b0, the library would write "
                       "0x00112233 0x000060a0 0x4455000a 0x000060b0\n");
  EXPECT_EQ(r.out,
            "check passed: 3072 rows match\ncheck passed: 3072 rows match\n"
            "arp: 1 entries\n  set arp egressPort=3 rewriteIndex=6 "
            "ethAddr=00:00:00:00:00:00 vlanId=11\ncheck passed: 3072 rows match\n\n"
            "11 lines, 11 commands, 4 hardware rows written; arp: 1 entries\n");
}

TEST_F(TarnctlTest, BadLinesStopWithFileLineMessageAndLeaveOutputFilesAlone) {
  const std::pair<std::string, std::string> cases[] = {
      {"set arp egressPort=3 rewriteIndex=64",
       "arp: rewriteIndex=64: TarnSwitchTable::ArpKey::rewriteIndex::value > 63 not allowed"},
      {"set arp egressPort=50 rewriteIndex=0",
       "arp: egressPort=50: TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
       "TarnSwitch::ChipPortId::null not allowed"},
      {"set arp egressPort=1 rewriteIndex=1 vlanId=4095",
       "arp: vlanId=4095: Bridging::VlanIdOrNone::value > 4094 not allowed"},
      {"set arp egressPort=1 rewriteIndex=1 ethAddr=00:11",
       "arp: ethAddr=00:11: \"an Ethernet address aa:bb:cc:dd:ee:ff\", instead got "},
      {"set arp egressPort=3 vlanId=1",
       "arp: missing key field 'rewriteIndex' (fields: egressPort, rewriteIndex, ethAddr, vlanId)"},
      {"set arp egressPort=3 rewriteIndex=1 color=red",
       "unknown field 'color' of table arp (fields: egressPort, rewriteIndex, ethAddr, vlanId)"},
      {"del arp egressPort=1 rewriteIndex=1 vlanId=2",
       "'vlanId' is a result field: del takes key fields (egressPort, rewriteIndex)"},
      {"set arp egressPort", "expected FIELD=VALUE, got 'egressPort'"},
      {"set nosuch egressPort=1", "unknown table 'nosuch' (tables: "},
      {"frob arp",
       "unknown command 'frob' (commands: set, del, clear, restart, corrupt, damage, "
       "check, show)"},
      {"restart lukewarm", "restart: expected warm or cold, got 'lukewarm'"},
      {"restart warm keep now", "restart: expected warm, warm keep or cold, got 'warm keep now'\n"},
      {"restart cold keep", "restart: keep applies to warm only, got 'cold keep'\n"},
      {"damage arp index=3072 word=0 xor=1",
       "index 3072 is outside hardware table 'arp.Arp' [0, 3071]"},
      {"damage arp copy=1 index=0 word=0 xor=1", "arp has no hardware copy 1 (copies 0..0)"},
      {"damage arp index=0 word=8 xor=1",
       "word=8: TarnSwitchApi::DataArrayIndex::value < TarnSwitchApi::DataArrayIndex::min or > "
       "TarnSwitchApi::DataArrayIndex::max not allowed"},
      {"damage arp index=0 word=0", "missing xor=N"},
      {"corrupt arp index=-1", "index=-1: \"an unsigned number\", instead got -1"},
      {"check now", "unexpected 'now'"},
  };
  writeFile(path("old.json"), "old dump");
  writeFile(path("old.hw"), "old hw");
  for (const auto& [line, message] : cases) {
    std::string s =
        script("e.tarn", "set arp egressPort=0 rewriteIndex=0 vlanId=1\n# fine\n" + line + "\n");
    Result r = tarnctl("run " + s + " --dump " + path("old.json") + " --hw-out " + path("old.hw"));
    EXPECT_EQ(r.code, 2) << line;
    EXPECT_EQ(r.err.rfind(s + ":3: " + message, 0), 0u) << r.err;
    EXPECT_EQ(readFile(path("old.json")), "old dump");
    EXPECT_EQ(readFile(path("old.hw")), "old hw");
  }
}

// Bad snapshots, profiles, options and encode/decode arguments: exit 2, the message on stderr,
// nothing on stdout and no dump written. A snapshot loads only under its own profile.
TEST_F(TarnctlTest, BadArgumentsAndSnapshotsExitTwoWithTheirMessageAndWriteNothing) {
  ASSERT_EQ(tarnctl("run -q --profile legacy --hw-out " + path("legacy.hw") + " " +
                    script("l.tarn", "set arp egressPort=1 rewriteIndex=1 vlanId=1\n"))
                .code,
            0);
  std::string good = readFile(path("legacy.hw"));
  writeFile(path("cut.hw"), good.substr(0, good.size() / 2));
  writeFile(path("bad.hw"), "tarn-hw-state 1\nnot a profile\n");
  writeFile(path("bad.profile"), "portCount=4\nportCount=70000\n");
  const std::string run = "run -q --dump " + path("x.json") + " " + script("n.tarn", "") + " ";
  const std::pair<std::string, std::string> cases[] = {
      {run + "--profile legacy --hw-in " + path("cut.hw"),
       "tarnctl: --hw-in: " + path("cut.hw") + ":"},
      {run + "--profile legacy --hw-in " + path("bad.hw"),
       "tarnctl: --hw-in: " + path("bad.hw") + ":2: "},
      {run + "--hw-in " + path("legacy.hw"), "tarnctl: --hw-in: " + path("legacy.hw") + ":"},
      {run + "--hw-in " + path("none.hw"),
       "tarnctl: --hw-in: " + path("none.hw") + ": cannot open hardware state file\n"},
      {run + "--profile huge",
       "tarnctl: unknown profile 'huge': neither a built-in profile (default, "
       "legacy) nor a readable file\n"},
      {run + "--profile " + path("bad.profile"),
       path("bad.profile") + ":2: profile field portCount=70000: U16::value > 65535 not allowed\n"},
      {run + "--trace Nowhere=3", "tarnctl: --trace Nowhere=3: "},
      {run + "--bogus", "The following argument was not expected: --bogus\n"},
      {"decode arp --copy 1 --index 0 1", "tarnctl: arp has no hardware copy 1 (copies 0..0)\n"},
      {"decode arp --index 3072 1",
       "tarnctl: HwIndex 3072 is outside hardware table 'arp.Arp' [0, 3071]\n"},
      {"decode arp --index 0 0 0 0xfff 0",
       "tarnctl: Bridging::VlanIdOrNone::value > 4094 not allowed\n"},
      {"decode arp --index 0 1 2 3 4 5 6 7 8 9", "tarnctl: 9 words given: a row holds at most 8\n"},
      {"encode arp egressPort=3 rewriteIndex=64",
       "tarnctl: arp: rewriteIndex=64: TarnSwitchTable::ArpKey::rewriteIndex::value > 63 not "
       "allowed\n"},
      {"encode nosuch a=1", "tarnctl: unknown table 'nosuch' (tables: "},
      {run + "--tables arp,nosuch", "tarnctl: --tables: unknown table 'nosuch' (tables: "},
  };
  for (const auto& [args, message] : cases) {
    Result r = tarnctl(args);
    EXPECT_EQ(r.code, 2) << args;
    EXPECT_EQ(r.err.rfind(message, 0), 0u) << args << ": " << r.err;
    EXPECT_EQ(r.out, "") << args;
    EXPECT_FALSE(std::ifstream(path("x.json")).good()) << args;
  }
  EXPECT_TRUE(std::regex_search(tarnctl("run --tables nosuch").err,
                                std::regex(R"(\(tables: (.+, )?arp(, .+)?\)\n$)")));
  Result ok = tarnctl("run -q --profile legacy --hw-in " + path("legacy.hw") + " " +
                      script("s.tarn", "show arp\n"));
  EXPECT_EQ(
      ok.out,
      "arp: 1 entries\n  set arp egressPort=1 rewriteIndex=1 ethAddr=00:00:00:00:00:00 vlanId=1\n");
}

TEST_F(TarnctlTest, ProfileFileSetsFieldsOverTheDefaultProfile) {
  writeFile(path("small.profile"), "# a 4-port chip\nportCount=4\nrevision=7\n");
  Result r = tarnctl("run -q --tables arp --profile " + path("small.profile") + " --dump - " +
                     script("p.tarn", ""));
  ASSERT_EQ(r.code, 0) << r.err;
  auto d = nlohmann::ordered_json::parse(r.out);
  EXPECT_EQ(d["profile"]["name"], "small");
  EXPECT_EQ(d["profile"]["revision"], 7);
  EXPECT_EQ(d["tables"][0]["hardware"][0]["upper"], 255);
}

TEST_F(TarnctlTest, EncodePrintsRowsWithRegistersAndDecodeReadsThemBack) {
  Result r = tarnctl("encode arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10");
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out,
            "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5}) "
            "Value('TarnSwitchTable::ArpResult', ** {'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})\n"
            "HwTableId 0 arp.Arp HwIndex 197\n"
            "  word 0 0x00112233 egress/processor[1]/lum_data\n"
            "  word 1 0x000060a0 egress/processor[1]/lum_ctl_addr_data\n"
            "  word 2 0x4455000a egress/processor[1]/lum_data\n"
            "  word 3 0x000060b0 egress/processor[1]/lum_ctl_addr_data\n");
  r = tarnctl("decode arp --index 197 0x00112233 0x000060a0 1146421258 0x000060b0");
  EXPECT_EQ(r.out,
            "Value('TarnSwitchTable::ArpEntry', ** {'valid': true, 'egressPort': 3, "
            "'rewriteIndex': 5, 'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})\n");
  r = tarnctl("encode arp egressPort=0 rewriteIndex=0");  // the empty entry still has its row
  EXPECT_NE(r.out.find("HwTableId 0 arp.Arp HwIndex 0\n  word 0 0x00000000"), std::string::npos);
  r = tarnctl("encode arp egressPort=24 rewriteIndex=0 --profile legacy");
  EXPECT_NE(r.out.find("no hardware row: the entry's row lies outside the hardware tables"),
            std::string::npos);
}

TEST_F(TarnctlTest, ExampleScriptsRunCleanly) {
  Result r = tarnctl("run -q " + std::string(TARN_EXAMPLES_DIR) + "/arp-demo.tarn");
  EXPECT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.err, "");
}

TEST_F(TarnctlTest, TablesProfilesAndVersion) {
  const std::string arp =
      "arp (TarnSwitchTable::ArpTable)\n"
      "  key    egressPort: TarnSwitch::ChipPortId\n"
      "  key    rewriteIndex: TarnSwitchTable::ArpKey::rewriteIndex\n"
      "  result ethAddr: Lanx::EthAddr\n"
      "  result vlanId: Bridging::VlanIdOrNone\n";
  std::string tables = tarnctl("tables").out;
  EXPECT_NE(tables.find(arp), std::string::npos) << tables;
  EXPECT_EQ(tables.find(arp + "  "), std::string::npos) << tables;  // no field beyond these
  EXPECT_NE(tarnctl("profiles")
                .out.find("legacy:\n  portCount=24\n  pipelineCount=2\n"
                          "  portsPerPipeline=12\n  hasCpuPipeline=false\n"
                          "  revision=1\n  hwApi=4.0\n"),
            std::string::npos);
  EXPECT_EQ(tarnctl("--version").out, "tarnctl 0.1.0\n");
  Result help = tarnctl("run --help");
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("--hw-in"), std::string::npos);
}

}  // namespace
