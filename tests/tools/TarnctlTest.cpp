// tarnctl through its real binary: scripts written to a temporary directory, stdout, stderr and
// the exit status compared.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>

namespace {

namespace fs = std::filesystem;

struct Result {
  int code;
  std::string out, err;
};

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Whether `text` holds `part`; a failure shows the whole text.
::testing::AssertionResult has(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no '" << part << "' in:\n" << text;
}

class TarnctlTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(mkdtemp(dir_.data()), nullptr); }
  void TearDown() override { ASSERT_EQ(std::system(("rm -rf " + dir_).c_str()), 0); }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  // Writes `text` as file `name` and returns its path.
  std::string file(const std::string& name, const std::string& text) const {
    std::ofstream(path(name)) << text;
    return path(name);
  }
  // `in`: the redirection of standard input.
  Result tarnctl(const std::string& args, const std::string& in = "</dev/null") const {
    const std::string cmd =
        TARNCTL_PATH " " + args + " >" + path("out") + " 2>" + path("err") + " " + in;
    const int status = std::system(cmd.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(path("out")),
            readFile(path("err"))};
  }
  // The stdout of a run that must succeed, silent on stderr.
  std::string ok(const std::string& args) const {
    const Result r = tarnctl(args);
    EXPECT_EQ(r.code, 0) << args;
    EXPECT_EQ(r.err, "") << args;
    return r.out;
  }

  std::string dir_ = "/tmp/tarnctl-test-XXXXXX";
};

// The entry (egressPort 3, rewriteIndex 5) -> (00:11:22:33:44:55, VLAN 10): its fields and its
// script line, then its text form.
const std::string e3Fields = "arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10";
const std::string e3 = "set " + e3Fields + "\n";
const std::string arpText =
    "Value('TarnSwitchTable::ArpKey', ** {'egressPort': 3, 'rewriteIndex': 5}) "
    "Value('TarnSwitchTable::ArpResult', ** {'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})";

// The demo's first write with its registers, the warm restart's one repair, and its closing
// summary (6 rows: five commands and that repair, so no other restart write).
TEST_F(TarnctlTest, DemoShowsWritesWithRegistersAndAWarmRestartThatRepairsOneRow) {
  const std::string out = ok("run --tables arp");
  EXPECT_TRUE(has(out, "cold-started on a simulated 'default' chip (48 ports): 3072 rows written"));
  EXPECT_TRUE(has(out, "> " + e3 +
                           "  write arp.Arp HwIndex 197\n"
                           "    word 0 0x00112233 -> egress/processor[1]/lum_data\n"));
  EXPECT_TRUE(has(out,
                  "    word 3 0x000060b0 -> egress/processor[1]/lum_ctl_addr_data\n"
                  "\nThe same value again: the software table sees no change, so nothing reaches "
                  "hardware.\n"));
  EXPECT_TRUE(has(out,
                  "> restart warm\n  arp: software rebuilt, 2 entries after the restart\n"
                  "  write arp.Arp HwIndex 197\n"));
  EXPECT_TRUE(has(out, "check passed: 3072 rows match"));
  EXPECT_TRUE(has(out,
                  "  no hardware write\n\n"
                  "25 lines, 13 commands, 6 hardware rows written; arp: 2 entries\n"));
}

// The dump's shape: the profile, software entries in key order (key and result as script fields,
// and the entry's text form) and every row of every hardware copy. A profile file, named after
// it, sets its fields over the default profile.
TEST_F(TarnctlTest, DumpListsSoftwareInKeyOrderAndEveryRow) {
  const std::string profile = file("small.profile", "# a 4-port chip\nportCount=4\nrevision=7\n");
  std::string s =
      file("a.tarn", e3 + "set arp egressPort=0 rewriteIndex=63 vlanId=4094  # port 0, last row\n"
                          "set arp egressPort=4 rewriteIndex=0 vlanId=1  # no row on 4 ports\n");
  EXPECT_EQ(ok("run -q --tables arp --profile " + profile + " " + s + " --dump " + path("d.json")),
            "");
  auto d = nlohmann::ordered_json::parse(readFile(path("d.json")));
  EXPECT_EQ(d["profile"].dump(),
            R"({"name":"small","portCount":4,"pipelineCount":4,"portsPerPipeline":12,)"
            R"("hasCpuPipeline":true,"revision":7,"hwApi":"4.1"})");
  const auto& t = d["tables"][0];
  EXPECT_EQ(t["table"], "arp");
  EXPECT_EQ(t["class"], "ArpTable");
  ASSERT_EQ(t["software"].size(), 3u);
  EXPECT_EQ(t["software"][0]["key"].dump(), R"({"egressPort":0,"rewriteIndex":63})");
  EXPECT_EQ(t["software"][2]["key"]["egressPort"], 4);
  EXPECT_EQ(t["software"][1]["result"].dump(), R"({"ethAddr":"00:11:22:33:44:55","vlanId":10})");
  EXPECT_EQ(t["software"][1]["text"], arpText);
  auto hw = t["hardware"][0];
  ASSERT_EQ(hw["rows"].size(), 256u);
  EXPECT_EQ(hw["rows"][197].dump(), R"({"index":197,"words":[1122867,24736,1146421258,24752]})");
  hw.erase("rows");
  EXPECT_EQ(hw.dump(), R"({"id":0,"name":"arp.Arp","lower":0,"upper":255})");
}

// A second process warm-starts on the saved hardware and adopts its entries without a write.
// `restart warm keep` restores software before the start: over matching hardware nothing is
// written, and software-only entries survive (a plain warm restart keeps only what hardware
// holds). A damaged row fails the check (exit 1) until a restart rewrites it; a corrupted row is
// not adopted and is written empty. The JSON summary lists the rows each restart wrote.
TEST_F(TarnctlTest, WarmRestartsWriteOnlyWhatDiffersAndCheckCatchesDamage) {
  const std::string e47 =
      "set arp egressPort=47 rewriteIndex=63 ethAddr=02:00:00:00:00:09 vlanId=9\n";
  const std::string e48 =  // a software-only entry: no row on 48 ports
      "set arp egressPort=48 rewriteIndex=0 ethAddr=00:00:00:00:00:00 vlanId=1\n";
  ok("run -q --tables arp " + file("1.tarn", e3 + e47) + " --hw-out " + path("hw"));
  std::string s = file("2.tarn", e48 +
                                     "show arp\ncheck\nrestart warm keep\nshow arp\n"
                                     "damage arp index=197 word=1 xor=0x10\ncheck\n"
                                     "restart warm keep\ncheck\nrestart warm\nshow arp\n"
                                     "corrupt arp copy=0 index=197\nrestart warm\nshow arp\n"
                                     "check\nrestart cold\n");
  Result r = tarnctl("run --json --tables arp --hw-in " + path("hw") + " " + s);
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, s + ":7: check failed: table arp copy 0 (arp.Arp) HwIndex 197: hardware holds "
                       "0x00112233 0x000060b0 0x4455000a 0x000060b0, the library would write "
                       "0x00112233 0x000060a0 0x4455000a 0x000060b0\n");
  const std::string all = "arp: 3 entries\n  " + e3 + "  " + e47 + "  " + e48;
  const std::string adopted = "arp: 2 entries\n  " + e3 + "  " + e47;
  auto restart = [&](int line, const std::string& mode, int writes) {
    return R"({"line":")" + s + ":" + std::to_string(line) + R"(","mode":")" + mode +
           R"(","writes":)" + std::to_string(writes) + "}";
  };
  EXPECT_EQ(r.out, all + all + adopted + "arp: 1 entries\n  " + e47 +
                       R"({"lines":16,"commands":16,"startWrites":0,"hwWrites":3,"checks":4,)"
                       R"("checkFailures":1,"tables":[{"table":"arp","entries":0}],"restarts":[)" +
                       restart(4, "warm keep", 0) + "," + restart(8, "warm keep", 1) + "," +
                       restart(10, "warm", 0) + "," + restart(13, "warm", 1) + "," +
                       restart(16, "cold", 1) + R"(],"corruptions":[{"line":")" + s +
                       R"(:13","table":"arp","copy":0,"hwTable":"arp.Arp","index":197}]})" + "\n");
}

// The tables route lines write.
const std::string lpmTables = "--tables lpm11,lpm14,lpm17,lpm20,lpm23,lpm26,lpm29,lpm32 ";

// Route lines: routes by line and from a file (cell fields by path or by last name), look-ups
// that name the table, entry and cell that answered, a delete (the route programmer's tests see
// what it re-exposes), warm restarts after which the routes are reprogrammed, and a cold one that
// drops them.
TEST_F(TarnctlTest, RouteLinesProgramTheLpmTablesAndLookUpAddresses) {
  file("r.txt",
       "# VRF PREFIX CELLFIELD=VALUE...\n0 10.1.2.0/24 l3LagIndex=4\n\n"
       "0 10.1.2.128/25 nexthopIndexes.l3LagIndex=5 aclInfo=25  # cells 2 and 3\n"
       "1 0.0.0.0/0 rewriteType=1 rewriteIndex=70\n");
  const std::string s =
      file("r.tarn",
           "route add 0 10.0.0.0/8 l3LagIndex=1\nroute load r.txt\n"
           "lookup 0 10.1.2.5\nlookup 0 10.1.2.200\nlookup 0 10.9.0.1\n"
           "lookup 1 8.8.8.8\nlookup 0 8.8.8.8\nroute del 0 10.1.2.0/24\n"
           "route show\ncheck\nrestart warm keep\n"
           "restart warm\nlookup 0 10.1.2.200\ncheck\nrestart cold\nroute show\n");
  const Result r = tarnctl("run --json " + lpmTables + s);
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.err, "");
  auto cell = [](int lag, int type, int index, int acl) {
    return "nexthopIndexes.l3LagIndex=" + std::to_string(lag) +
           " nexthopIndexes.rewriteType=" + std::to_string(type) +
           " nexthopIndexes.rewriteIndex=" + std::to_string(index) +
           " aclInfo=" + std::to_string(acl);
  };
  const std::string lag5 = "lookup 0 10.1.2.200: lpm26 10.1.2.0/24 cell 3 -> " + cell(5, 0, 0, 25);
  const std::string out = r.out.substr(0, r.out.find("{\"lines\""));
  EXPECT_EQ(out, "lookup 0 10.1.2.5: lpm26 10.1.2.0/24 cell 0 -> " + cell(4, 0, 0, 33) + "\n" +
                     lag5 + "\nlookup 0 10.9.0.1: lpm11 10.0.0.0/11 -> " + cell(1, 0, 0, 33) +
                     "\nlookup 1 8.8.8.8: lpm11 8.0.0.0/11 -> " + cell(57, 1, 70, 33) +
                     "\nlookup 0 8.8.8.8: lpm11 8.0.0.0/11: no route\nroutes: 3\n"
                     "  route add 0 10.0.0.0/8 " +
                     cell(1, 0, 0, 33) + "\n" + "  route add 0 10.1.2.128/25 " + cell(5, 0, 0, 25) +
                     "\n" + "  route add 1 0.0.0.0/0 " + cell(57, 1, 70, 33) + "\n" + lag5 +
                     "\nroutes: 0\n");
  const auto summary = nlohmann::json::parse(r.out.substr(r.out.find("{\"lines\"")));
  EXPECT_EQ(summary["checkFailures"], 0);
  // Software restored, nothing is written. Software empty, the entry of the /25 is adopted
  // without its aclInfo (hardware does not read it back) and written so by the start, then the
  // routes write it with it again: twice in each of the two copies.
  EXPECT_EQ(summary["restarts"][0]["writes"], 0);
  EXPECT_EQ(summary["restarts"][1]["writes"], 4);
}

// A stride table that is full refuses the route that needs a new entry in it, naming the route
// file's own line. (Other bad route lines are among the bad input cases.)
TEST_F(TarnctlTest, AFullStrideTableRefusesARouteWithExitTwo) {
  // /12 routes over every routing instance until Lpm14 (2 x 1024 locations) has no room.
  std::string routes;
  for (unsigned i = 0; i < 4096; ++i)
    routes += std::to_string(i % 4) + " " + std::to_string(i / 64) + "." +
              std::to_string((i / 4) % 16 * 16) + ".0.0/12 l3LagIndex=1\n";
  file("full.txt", routes);
  const Result r = tarnctl("run -q " + lpmTables + file("full.tarn", "route load full.txt\n"));
  EXPECT_EQ(r.code, 2);
  EXPECT_TRUE(std::regex_match(
      r.err, std::regex(".*full.tarn:1: .*full.txt:[0-9]+: route table full: vrfId [0-3] "
                        "([0-9.]+/12) needs a new entry \\1 in TarnSwitchTable::Lpm14Table, and "
                        "no placement of its entries holds it; nothing changed\n")))
      << r.err;
}

// Bad and hostile input (script and route lines, LPM keys and results the tables cannot take, a
// full table, snapshots and state files that lie about their tables, profiles, options,
// encode/decode/parity arguments, special files, control bytes, huge tokens, duplicate names):
// exit 2, the message on stderr naming the input (a script's after its file:line; table, copy
// and row; the field), nothing on stdout, and every output file of the run left as it was;
// nothing is changed before the refusal. A snapshot loads only under its own profile.
TEST_F(TarnctlTest, BadInputExitsTwoNamingItAndLeavesOutputFilesAlone) {
  ok("run -q --profile legacy --hw-out " + path("legacy.hw") + " " +
     file("l.tarn", "set arp egressPort=1 rewriteIndex=1 vlanId=1\n"));
  ok("run -q --tables arp " + file("a.tarn", e3) + " --hw-out " + path("good.hw"));
  const std::string good = readFile(path("good.hw"));
  auto state = [&](const std::string& name, const std::string& from, const std::string& to) {
    std::string t = good;
    return file(name, t.replace(t.find(from), from.size(), to));
  };
  std::string huge =
      "tarn-hw-state 1\n" + good.substr(good.find("profile"), good.find('\n', 16) - 15);
  for (int t = 0; t < 4; ++t) huge += "table t" + std::to_string(t) + " 0 16777215 0\n";
  file("huge.hw", huge + "end 4 0\n");
  file("bad.profile", "revision=4\nportCount=70000\n");
  file("wide.profile", "portCount=65535\n");
  file("twice.profile", "portCount=24\nrevision=1\nportCount=12\n");
  file("zero.profile", "pipelineCount=2\n\nportsPerPipeline=0\n");
  ASSERT_EQ(::mkdir(path("dir").c_str(), 0755), 0);
  const std::string outputs =
      " --dump " + file("old.json", "old dump") + " --hw-out " + file("old.hw", "old hw");
  int scripts = 0;
  // The run of a script of `lines` with `options`, and the message expected for its line `at`.
  auto script = [&](const std::string& options, const std::string& lines, int at,
                    const std::string& message) {
    const std::string s = file("e" + std::to_string(scripts++) + ".tarn", lines);
    return std::pair("run " + options + s + outputs, s + ":" + std::to_string(at) + ": " + message);
  };
  // A script whose third line is `text`.
  auto line = [&](const std::string& text, const std::string& message) {
    return script("", "set arp egressPort=0 rewriteIndex=0 vlanId=1\n# fine\n" + text, 3, message);
  };
  const std::string run = "run -q " + file("n.tarn", "") + outputs + " ";
  const std::string arpRun = run + "--tables arp ";
  // A run reading the state file `name` (with `options`), refused with "--hw-in: name" + `message`.
  auto hwIn = [&](const std::string& options, const std::string& name, const std::string& message) {
    return std::pair(run + options + "--hw-in " + path(name),
                     "tarnctl: --hw-in: " + path(name) + message);
  };
  const std::string vlanRow = "row 197 4 1122867 24736 1146421258 24752";
  state("six.hw", vlanRow, "row 197 6 1122867 24736 1146421258 24752 0 0");
  state("bounds.hw", "arp.Arp 0 3071", "arp.Arp 0 99");
  state("vlan.hw", vlanRow, "row 197 4 1122867 24736 1146486783 24752");
  const std::string cells =
      "(fields: nexthopIndexes.l3LagIndex, nexthopIndexes.rewriteType, "
      "nexthopIndexes.rewriteIndex, aclInfo)";
  file("bad.txt", "0 10.3.0.0/16 l3LagIndex=2\n0 10.4.0.0/16\n");
  // Keys the stride table has no location for: 0.0.0.0/21, 126.66.72.0/21 and
  // 130.198.216.0/21 of instance 0 share both buckets of the /23 member.
  auto lpm = [&](const std::string& text, const std::string& message) {
    return script("-q --profile legacy ",
                  "set lpm23 vrfId=0 prefix=0.0.0.0/21\nset lpm23 vrfId=0 prefix=126.66.72.0/21\n" +
                      text + "\nset lpm23 vrfId=1 prefix=0.0.0.0/21\n",
                  3, message);
  };
  const std::string key = "Value('TarnSwitch::LpmKey', ** {'vrfId': ";
  // A next hop no LPM table can encode (rewrite type 2; rewrite type 1 with an L3 LAG), refused
  // naming the broken condition instead of stopping the process.
  auto hop = [&](const std::string& cell, const std::string& hops, const std::string& fault) {
    return script(
        "-q --tables lpm11 ",
        "set lpm11 vrfId=0 prefix=10.0.0.0/11 cellResult.nexthopIndexes." + cell + "\n", 1,
        "table lpm11 refuses result Value('TarnSwitchTable::Lpm11Result', ** "
        "{'cellResult': Value('TarnSwitchTable::EntryCellResult', ** {'nexthopIndexes': "
        "Value('TarnSwitch::NexthopIndexes', ** {" +
            hops + ", 'rewriteIndex': 0}), 'aclInfo': 33}), 'cpuTrap': false}): " + fault +
            " does not hold; nothing changed\n");
  };
  const std::string pipe =
      "TarnSwitch::PipeId::value < TarnSwitch::PipeId::min or > TarnSwitch::PipeId::null not "
      "allowed\n";
  const std::string token(10000, 'x');
  const std::pair<std::string, std::string> cases[] = {
      line("route add 256 10.2.0.0/16 l3LagIndex=1",  // not routing instance 0
           "TarnSwitchTable::RouteProgrammer::vrfId > 3 not allowed\n"),
      line("route add x 10.2.0.0/16 l3LagIndex=1",
           "VRF 'x': \"an unsigned number\", instead got x\n"),
      line("route add 0 10.2.0.0/16 lag=1", "unknown cell field 'lag' " + cells + "\n"),
      line("route add 0 10.2.0.0/16 l3LagIndex=58",
           "l3LagIndex=58: TarnSwitch::L3LagIndex::value < TarnSwitch::L3LagIndex::min or > "
           "TarnSwitch::L3LagIndex::null not allowed\n"),
      line("route add 0 10.2.0.0/16 l3LagIndex=1 l3LagIndex=2",
           "cell field 'nexthopIndexes.l3LagIndex' given twice\n"),
      line("route del 0",
           "route: expected add VRF PREFIX CELLFIELD=VALUE..., del VRF PREFIX, load "
           "FILE or show\n"),
      line("route load none.txt", "route load: cannot open '" + path("none.txt") + "'\n"),
      line("route load " + dir_, "route load: cannot read '" + dir_ + "'\n"),
      line("route load bad.txt", path("bad.txt") +
                                     ":2: route refused: vrfId 0 10.4.0.0/16: its cell "
                                     "is the default cell, which means no route\n"),
      line("lookup 0", "lookup: expected VRF ADDRESS\n"),
      lpm("set lpm23 vrfId=0 prefix=130.198.216.0/21",
          "table lpm23 is full: no placement of its entries holds key " + key +
              "0, 'prefix': 130.198.216.0/21}); nothing changed\n"),
      lpm("set lpm11 vrfId=4 prefix=10.0.0.0/11 cpuTrap=true",
          "table lpm11 refuses key " + key +
              "4, 'prefix': 10.0.0.0/11}): TarnSwitchTable::Lpm11Table::vrfId > 3 not allowed; "
              "nothing changed\n"),
      lpm("del lpm32 vrfId=0 prefix=10.0.0.0/29",
          "table lpm32 refuses key " + key +
              "0, 'prefix': 10.0.0.0/29}): key.prefix().len() == prefixBaseLen() does not hold; "
              "nothing changed\n"),
      hop("rewriteType=2", "'l3LagIndex': 57, 'rewriteType': 2",
          "rewriteType == 0 || rewriteType == 1"),
      hop("rewriteType=1 cellResult.nexthopIndexes.l3LagIndex=3",
          "'l3LagIndex': 3, 'rewriteType': 1", "l3LagIndex == TarnSwitch::L3LagIndex::null()"),
      {"parity unpack 0x0E000000", "tarnctl: parity unpack: 0x0E000000: " + pipe},
      {"parity pack pipeId=14", "tarnctl: parity pack: pipeId=14: " + pipe},
      {"parity pack parityTable=vlan",
       "tarnctl: parity pack: parityTable=vlan: \"a name of TarnSwitchTable::ParityTable\", "
       "instead got vlan\n"},
      {"parity pack table=1",
       "tarnctl: parity pack: expected FIELD=VALUE with a field of parityTable, pipeId, got "
       "'table=1'\n"},
      {"parity unpack 0x100000000",
       "tarnctl: parity unpack: 0x100000000: U32::value > 4294967295 not allowed\n"},
      line("set arp egressPort=3 vlanId=1",
           "arp: missing key field 'rewriteIndex' (fields: "
           "egressPort, rewriteIndex, ethAddr, vlanId)"),
      line("del arp egressPort=1 rewriteIndex=1 vlanId=2",
           "'vlanId' is a result field: del takes key fields (egressPort, rewriteIndex)"),
      line("set arp egressPort", "expected FIELD=VALUE, got 'egressPort'"),
      line("set nosuch egressPort=1", "unknown table 'nosuch' (tables: "),
      line("frob arp",
           "unknown command 'frob' (commands: set, del, clear, restart, corrupt, "
           "damage, erase, check, show, route, lookup)"),
      line("restart lukewarm", "restart: expected warm or cold, got 'lukewarm'"),
      line("restart warm keep now",
           "restart: expected warm, warm keep or cold, got 'warm keep now'\n"),
      line("restart cold keep", "restart: keep applies to warm only, got 'cold keep'\n"),
      line("damage arp index=3072 word=0 xor=1",
           "index 3072 is outside hardware table 'arp.Arp' [0, 3071]"),
      line("damage arp copy=1 index=0 word=0 xor=1", "arp has no hardware copy 1 (copies 0..0)"),
      line("damage arp index=0 word=8 xor=1",
           "word=8: TarnSwitchApi::DataArrayIndex::value < TarnSwitchApi::DataArrayIndex::min or "
           "> TarnSwitchApi::DataArrayIndex::max not allowed"),
      line("damage arp index=0 word=0", "missing xor=N"),
      line("corrupt arp index=-1", "index=-1: \"an unsigned number\", instead got -1"),
      line("check now", "unexpected 'now'"),
      hwIn("", "legacy.hw", ":2: saved for profile 'legacy', not for profile 'default'\n"),
      hwIn("", "none.hw", ": cannot open hardware state file: No such file or directory\n"),
      {run + "--profile huge",
       "tarnctl: unknown profile 'huge': neither a built-in profile (default, "
       "legacy) nor a readable file\n"},
      {run + "--profile " + path("bad.profile"),
       path("bad.profile") + ":2: profile field portCount=70000: U16::value > 65535 not allowed\n"},
      {run + "--trace Nowhere=3", "tarnctl: --trace Nowhere=3: "},
      // --trace takes one value each time: the script after it stays the script.
      script("--trace TarnTableArp=1 ", "check now\n", 1, "unexpected 'now'"),
      {run + "--bogus",
       "The following argument was not expected: --bogus\nRun with --help for more information.\n"},
      {"decode arp --index 3072 1",
       "tarnctl: HwIndex 3072 is outside hardware table 'arp.Arp' [0, 3071]\n"},
      {"decode arp --index 0 1 2 3 4 5 6 7 8 9", "tarnctl: 9 words given: a row holds at most 8\n"},
      {"encode nosuch a=1", "tarnctl: unknown table 'nosuch' (tables: "},
      {run + "--tables arp,nosuch", "tarnctl: --tables: unknown table 'nosuch' (tables: "},
      {"run -q --hw-out " + path("old.hw") + " --dump " + path("none/d.json") + " " +
           path("n.tarn"),  // --hw-out is not written either
       "tarnctl: cannot write '" + path("none/d.json") + "': No such file or directory\n"},
      {"run -q --dump " + path("old.json") + " --hw-out /dev/full " + path("n.tarn"),
       "tarnctl: cannot write '/dev/full': No space left on device\n"},
      {arpRun + path("dir"), "tarnctl: cannot read script '" + path("dir") + "': Is a directory\n"},
      hwIn("--tables arp ", "dir", ": cannot open hardware state file: Is a directory\n"),
      hwIn("--tables arp ", "huge.hw",
           ":3: table 't0' is not a hardware table of any registered table for profile "
           "'default'\n"),
      hwIn("--tables arp ", "six.hw",
           ":201: row 197 of table 'arp.Arp' holds 6 words, its rows hold 4\n"),
      hwIn("--tables arp ", "bounds.hw",
           ":3: table 'arp.Arp' has rows [0, 99], its table declares [0, 3071]\n"),
      hwIn("--tables arp ", "vlan.hw",
           ": table arp copy 0 (arp.Arp) HwIndex 197: Bridging::VlanIdOrNone::value > 4094 not "
           "allowed\n"),
      {arpRun + file("d.tarn", e3 + "damage arp index=197 word=2 xor=0xfff5\nrestart warm\n"),
       path("d.tarn") + ":3: restart warm: table arp copy 0 (arp.Arp) HwIndex 197: "
                        "Bridging::VlanIdOrNone::value > 4094 not allowed\n"},
      {arpRun + file("w.tarn", "damage arp index=0 word=4 xor=1\n"),
       path("w.tarn") + ":1: word=4: rows of arp copy 0 (arp.Arp) hold 4 words (0..3)\n"},
      {arpRun + file("i.tarn", "damage arp index=0 index=1 word=0 xor=1\n"),
       path("i.tarn") + ":1: field 'index' given twice\n"},
      {arpRun + file("z.tarn", std::string("set arp egressPort=3\0 rewriteIndex=5\n", 37)),
       path("z.tarn") + ":1: control byte \\x00 at column 21\n"},
      {arpRun + file("t.tarn", "set arp egressPort=" + token + "\n"),
       path("t.tarn") + ":1: arp: egressPort=" + token.substr(0, 64) + "... (10000 bytes): "},
      {arpRun + file("l.tarn", "# fine\nset arp egressPort=" + std::string(70000, '1') + "\n"),
       path("l.tarn") + ":2: line longer than 65536 bytes\n"},
      {arpRun + "--profile " + path("wide.profile"),
       path("wide.profile") + ":1: profile field portCount=65535: table arp: "
                              "TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
                              "TarnSwitch::ChipPortId::null not allowed\n"},
      {arpRun + "--profile " + path("zero.profile"),
       path("zero.profile") + ":3: profile field portsPerPipeline=0: a chip has at least one\n"},
      {arpRun + "--profile " + path("twice.profile"),
       path("twice.profile") + ":3: profile field 'portCount' given twice (first at line 1)\n"},
  };
  for (const auto& [args, message] : cases) {
    const Result r = tarnctl(args);
    EXPECT_EQ(r.code, 2) << args;
    if (message.back() == '\n') {  // the whole message
      EXPECT_EQ(r.err, message) << args;
    } else {
      EXPECT_EQ(r.err.rfind(message, 0), 0u) << args << ": " << r.err;
    }
    EXPECT_LT(r.err.size(), 600u) << args;
    EXPECT_EQ(r.out, "") << args;
    EXPECT_EQ(readFile(path("old.json")) + readFile(path("old.hw")), "old dumpold hw") << args;
  }
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  for (const std::string& in : std::vector<std::string>{"<&-", "<" + path("dir")}) {
    const Result r = tarnctl("run -q -" + outputs, in);
    EXPECT_EQ(r.code, 2) << in;
    EXPECT_EQ(r.err, std::string("tarnctl: cannot read standard input: it is ") +
                         (in == "<&-" ? "closed\n" : "a directory\n"));
  }
  ::chmod(path("old.hw").c_str(), 0444);
  EXPECT_EQ(tarnctl(run).err,
            "tarnctl: cannot write '" + path("old.hw") + "': the file is read-only\n");
  EXPECT_EQ(readFile(path("old.json")) + readFile(path("old.hw")), "old dumpold hw");
  EXPECT_TRUE(std::regex_search(tarnctl("run --tables nosuch").err,
                                std::regex(R"(\(tables: (.+, )?arp(, .+)?\)\n$)")));
  EXPECT_EQ(ok("run -q --profile legacy --hw-in " + path("legacy.hw") + " " +
               file("s.tarn", "show arp\n")),
            "arp: 1 entries\n  set arp egressPort=1 rewriteIndex=1 ethAddr=00:00:00:00:00:00 "
            "vlanId=1\n");
}

// A corrupted row read at a restart is reported with its table, copy and row, and the run goes
// on. (Outputs through links and devices are the file tests' own; CR LF state files the state
// file tests'.)
TEST_F(TarnctlTest, CorruptedReadsAreReported) {
  const std::string s = file("a.tarn", "set arp egressPort=3 rewriteIndex=5 vlanId=10\n");
  EXPECT_EQ(
      ok("run --tables arp " + s + " " + file("c.tarn", "corrupt arp index=197\nrestart warm\n")),
      path("c.tarn") +
          ":2: corrupted row read: table arp copy 0 (arp.Arp) HwIndex 197\n\n"
          "3 lines, 3 commands, 2 hardware rows written; arp: 0 entries\n");
}

TEST_F(TarnctlTest, ExampleScriptsRunCleanly) {
  const std::string dir = TARN_EXAMPLES_DIR;
  ok("run -q " + dir + "/arp-demo.tarn");
  EXPECT_TRUE(has(ok("run -q " + dir + "/routes.tarn"),
                  "lookup 0 10.1.2.200: lpm26 10.1.2.0/24 cell 3 -> "));
  // The layer-3 demo on both profiles: every check passes, the warm restart rewrites the four
  // damaged rows and the one that keeps software writes nothing.
  for (const std::string profile : {"default", "legacy"}) {
    for (const char* demo : {"lpm-demo", "layer2-demo", "copp-demo"})
      ok("run -q --profile " + profile + " " + dir + "/" + demo + ".tarn");
    const auto summary = nlohmann::json::parse(
        ok("run -q --json --profile " + profile + " " + dir + "/l3-demo.tarn"));
    EXPECT_EQ(summary["checks"], 3) << profile;
    EXPECT_EQ(summary["checkFailures"], 0) << profile;
    EXPECT_EQ(summary["restarts"][0]["writes"], 4) << profile;
    EXPECT_EQ(summary["restarts"][1]["writes"], 0) << profile;
  }
}

// The LPM keys that fit, dumped with their bucket and way. (LPM keys and results the tables
// cannot take are among the bad input cases.)
TEST_F(TarnctlTest, LpmKeysThatFitAreDumpedWithTheirBucketAndWay) {
  // The two keys that fit, in the dump: way 0 and way 1 of bucket 0, words 0..5 (compare field
  // 0, valid bit 13, four null cells, parity; word 4 the location and hash-block number 3).
  ok("run -q --profile legacy --tables lpm23 --dump " + path("d.json") + " " +
     file("fit.tarn",
          "set lpm23 vrfId=0 prefix=0.0.0.0/21\nset lpm23 vrfId=0 "
          "prefix=126.66.72.0/21\n"));
  const auto rows =
      nlohmann::json::parse(readFile(path("d.json")))["tables"][0]["hardware"][0]["rows"];
  EXPECT_EQ(rows[0].dump(),
            R"({"bucket":0,"index":0,"way":0,"words":[4027572224,1057029123,128,0,917504,0]})");
  EXPECT_EQ(rows[1024]["way"], 1);
  EXPECT_EQ(rows[1024]["words"][5], 0x7E424800u);
}

// One-shot commands, each output whole or holding the text given: encode prints an entry's rows
// with their registers (the empty entry's too; none for a row outside the tables; for a table of
// several copies the copy written first, registers by API level) and decode reads one back;
// parity packs and unpacks source identifiers (a word in hexadecimal or decimal, its middle bits
// ignored; bad fields, words and pipes are among the bad input cases); the tables with their
// fields, the profiles, the version and the help.
TEST_F(TarnctlTest, CommandsPrintTheirOutput) {
  const std::string id =
      "0x01000002 Value('TarnSwitchTable::ParitySourceId', ** {'parityTable': vlanMembership, "
      "'pipeId': 1})\n";
  const std::string arp =
      "arp (TarnSwitchTable::ArpTable)\n"
      "  key    egressPort: TarnSwitch::ChipPortId\n"
      "  key    rewriteIndex: TarnSwitchTable::ArpKey::rewriteIndex\n"
      "  result ethAddr: Lanx::EthAddr\n"
      "  result vlanId: Bridging::VlanIdOrNone\n";
  const std::pair<std::string, std::string> whole[] = {
      {"encode " + e3Fields, arpText +
                                 "\nHwTableId 0 arp.Arp HwIndex 197\n"
                                 "  word 0 0x00112233 egress/processor[1]/lum_data\n"
                                 "  word 1 0x000060a0 egress/processor[1]/lum_ctl_addr_data\n"
                                 "  word 2 0x4455000a egress/processor[1]/lum_data\n"
                                 "  word 3 0x000060b0 egress/processor[1]/lum_ctl_addr_data\n"},
      {"decode arp --index 197 0x00112233 0x000060a0 1146421258 0x000060b0",
       "Value('TarnSwitchTable::ArpEntry', ** {'valid': true, 'egressPort': 3, "
       "'rewriteIndex': 5, 'ethAddr': 00:11:22:33:44:55, 'vlanId': 10})\n"},
      {"parity pack parityTable=vlanMembership pipeId=1", id},
      {"parity unpack 0x01FFFF02", id},
      {"parity unpack 16777218", id},
      {"profiles",
       "default:\n  portCount=48\n  pipelineCount=4\n  portsPerPipeline=12\n"
       "  hasCpuPipeline=true\n  revision=2\n  hwApi=4.1\n"
       "legacy:\n  portCount=24\n  pipelineCount=2\n  portsPerPipeline=12\n"
       "  hasCpuPipeline=false\n  revision=1\n  hwApi=4.0\n"},
      {"--version", "tarnctl 0.1.0\n"},
  };
  for (const auto& [args, out] : whole) EXPECT_EQ(ok(args), out);
  const std::pair<std::string, std::string> parts[] = {
      {"encode arp egressPort=0 rewriteIndex=0",
       "HwTableId 0 arp.Arp HwIndex 0\n  word 0 0x00000000"},
      {"encode arp egressPort=24 rewriteIndex=0 --profile legacy",
       "no hardware row: the entry's row lies outside the hardware tables"},
      {"encode copp key=coppFwdIncludesCpuLimit value=151 --profile legacy",
       "HwTableId 0 copp.Copp[0] HwIndex 4\n"
       "  word 0 0x00000063 pipeline[0]/rate_limiter/packet_forwarding_limit\n"},
      {"encode copp key=coppFwdIncludesCpuLimit value=151",
       "HwTableId 4 copp.Copp[4] HwIndex 4\n"
       "  word 0 0x00000097 cpu_tx_pipeline[0]/rate_limiter/l2_packet_limit\n"},
      {"tables", arp},
      {"run --help", "--hw-in"},
  };
  for (const auto& [args, part] : parts) EXPECT_TRUE(has(ok(args), part)) << args;
  EXPECT_FALSE(has(ok("tables"), arp + "  "));  // no field beyond these
}

}  // namespace
