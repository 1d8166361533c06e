#include <cstdio>

#include "Bridging/VlanId.h"
#include "Lanx/EthAddr.h"
#include "Lanx/Ip4Addr.h"
#include "Lanx/Prefix.h"
#include "TarnSwitch/ChipPortId.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitch/IngressPortMask.h"
#include "TarnSwitch/L3FloodId.h"
#include "TarnSwitch/L3LagIndex.h"
#include "TarnSwitch/MrouteKey.h"
#include "TarnSwitch/NexthopIndexes.h"
#include "TarnSwitch/PipeId.h"
#include "TarnSwitch/VlanGroupId.h"

namespace TarnSwitch {

const std::string& ChipPortIdTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

const std::string& PipeIdTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

const std::string& L3LagIndexTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

const std::string& L3FloodIdTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

const std::string& VlanGroupIdTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 0xFFFF);
  return m;
}

const std::string& MrouteQualifierTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 4095);
  return m;
}

const std::string& RewriteTypeTag::message() {
  static const std::string m = Fen::rangeMessageMinMax(name);
  return m;
}

const std::vector<ChipProfile>& builtinProfiles() {
  static const std::vector<ChipProfile> all = [] {
    ChipProfile d;
    d.name = "default";
    d.portCount = 48;
    d.pipelineCount = 4;
    d.portsPerPipeline = 12;
    d.hasCpuPipeline = true;
    d.revision = 2;
    d.hwApi = ProfileHwApi{4, 1};
    ChipProfile l;
    l.name = "legacy";
    l.portCount = 24;
    l.pipelineCount = 2;
    l.portsPerPipeline = 12;
    l.hasCpuPipeline = false;
    l.revision = 1;
    l.hwApi = ProfileHwApi{4, 0};
    return std::vector<ChipProfile>{d, l};
  }();
  return all;
}

const ChipProfile* builtinProfile(const std::string& name) {
  for (const auto& p : builtinProfiles()) {
    if (p.name == name) return &p;
  }
  return nullptr;
}

}  // namespace TarnSwitch

namespace Bridging {

const std::string& VlanIdTag::message() {
  static const std::string m = Fen::rangeMessageLiteral(name, 1, 4094);
  return m;
}

const std::string& VlanIdOrNoneTag::message() {
  static const std::string m = Fen::rangeMessageLiteralMax(name, 4094);
  return m;
}

}  // namespace Bridging

namespace Lanx {

Prefix::Prefix(Ip4Addr address, Fen::U8 len) : address_(address), len_(len) {
  if (len > 32) throw Fen::RangeException("Lanx::Prefix::len > 32 not allowed");
  if (!validAsPrefix(address, len))
    throw Fen::RangeException("Lanx::Prefix::validAsPrefix != true not allowed");
}

}  // namespace Lanx

namespace Fen {

void ValueTraits<Lanx::EthAddr>::print(std::string& out, const Lanx::EthAddr& v) {
  char buf[18];
  std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", v.octet(0), v.octet(1),
                v.octet(2), v.octet(3), v.octet(4), v.octet(5));
  out += buf;
}

Lanx::EthAddr ValueTraits<Lanx::EthAddr>::parse(TextReader& in) {
  std::array<U8, 6> o{};
  std::string_view start = in.rest();
  for (unsigned i = 0; i < 6; ++i) {
    if (i > 0 && !in.consume(":")) in.fail("an Ethernet address aa:bb:cc:dd:ee:ff");
    std::string_view r = in.rest();
    auto hex = [](char c) {
      return c >= '0' && c <= '9'   ? c - '0'
             : c >= 'a' && c <= 'f' ? c - 'a' + 10
             : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                    : -1;
    };
    if (r.size() < 2 || hex(r[0]) < 0 || hex(r[1]) < 0) {
      TextReader(start).fail("an Ethernet address aa:bb:cc:dd:ee:ff");
    }
    o[i] = U8(hex(r[0]) * 16 + hex(r[1]));
    in.consume(r.substr(0, 2));
  }
  return Lanx::EthAddr(o);
}

void ValueTraits<TarnSwitch::ProfileHwApi>::print(std::string& out, TarnSwitch::ProfileHwApi v) {
  out += std::to_string(v.major) + "." + std::to_string(v.minor);
}

TarnSwitch::ProfileHwApi ValueTraits<TarnSwitch::ProfileHwApi>::parse(TextReader& in) {
  TarnSwitch::ProfileHwApi v;
  v.major = ValueTraits<U8>::parse(in);
  in.expect(".");
  v.minor = ValueTraits<U8>::parse(in);
  return v;
}

void ValueTraits<TarnSwitch::IngressPortMask>::print(std::string& out,
                                                     TarnSwitch::IngressPortMask v) {
  char buf[19];
  std::snprintf(buf, sizeof buf, "0x%llx", static_cast<unsigned long long>(v.value()));
  out += buf;
}

void ValueTraits<Lanx::Ip4Addr>::print(std::string& out, Lanx::Ip4Addr v) {
  const U32 a = v.value();
  char buf[16];
  std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", a >> 24, (a >> 16) & 0xFF, (a >> 8) & 0xFF,
                a & 0xFF);
  out += buf;
}

Lanx::Ip4Addr ValueTraits<Lanx::Ip4Addr>::parse(TextReader& in) {
  const std::string_view start = in.rest();
  U32 a = 0;
  for (unsigned i = 0; i < 4; ++i) {
    if (i > 0 && !in.consume(".")) TextReader(start).fail("an IPv4 address a.b.c.d");
    const std::string_view r = in.rest();
    std::size_t n = 0;
    U32 octet = 0;
    while (n < r.size() && n < 4 && r[n] >= '0' && r[n] <= '9')
      octet = octet * 10 + U32(r[n++] - '0');
    if (n == 0 || n > 3 || octet > 255) TextReader(start).fail("an IPv4 address a.b.c.d");
    a = (a << 8) | octet;
    in.consume(r.substr(0, n));
  }
  return Lanx::Ip4Addr(a);
}

void ValueTraits<Lanx::Prefix>::print(std::string& out, Lanx::Prefix v) {
  ValueTraits<Lanx::Ip4Addr>::print(out, v.address());
  out += "/" + std::to_string(v.len());
}

Lanx::Prefix ValueTraits<Lanx::Prefix>::parse(TextReader& in) {
  const std::string_view start = in.rest();
  const Lanx::Ip4Addr address = ValueTraits<Lanx::Ip4Addr>::parse(in);
  const std::string_view r = in.rest();
  if (!in.consume("/") || r.size() < 2 || r[1] < '0' || r[1] > '9')
    TextReader(start).fail("an IPv4 prefix a.b.c.d/len");
  const U64 len = in.readUnsigned();
  if (len > 32) throw RangeException("Lanx::Prefix::len > 32 not allowed");
  return Lanx::Prefix(address, U8(len));
}

}  // namespace Fen
