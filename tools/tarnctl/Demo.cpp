#include "Demo.h"

namespace Tarnctl {

const char* demoScript() {
  return R"(# Set an entry: the ARP row of (egressPort 3, rewriteIndex 5) is HwIndex 3 x 64 + 5 = 197,
# in the registers of egress processor 1 (two ports per processor). Words 0 and 2 hold the MAC
# and the VLAN; words 1 and 3 hold the row address and the parity of words 0 and 2.
set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10
# The same value again: the software table sees no change, so nothing reaches hardware.
set arp egressPort=3 rewriteIndex=5 ethAddr=00:11:22:33:44:55 vlanId=10
# Change the VLAN only (fields not given keep their value): word 2 changes, the row is rewritten.
set arp egressPort=3 rewriteIndex=5 vlanId=20
# Two more entries, then delete one of them: its row gets the empty encoding back.
set arp egressPort=0 rewriteIndex=1 ethAddr=02:00:00:00:00:01 vlanId=100
set arp egressPort=2 rewriteIndex=7 ethAddr=02:00:00:00:00:02 vlanId=200
del arp egressPort=0 rewriteIndex=1
show arp
# Every row of the chip holds what the library would write for these entries:
check
# Behind the library's back, flip bit 4 of word 1 of row 197: a row address bit goes wrong.
damage arp index=197 word=1 xor=0x10
# The agent restarts warm: its software tables start empty on the same chip. The library repairs
# the address bits of row 197 (one write), reads every row back and adopts the two entries that
# hardware holds; rows that already match are not written.
restart warm
show arp
check
# A second warm restart finds nothing to repair: no hardware write.
restart warm
)";
}

}  // namespace Tarnctl
