// The "tarn" service: the broadband service (tunnels, DNS rules, LAN hosts, WAN and NAT).
//
// State members:
//   wanIp, ontMac, pppoeUserName          texts answered as they are
//   dnsNames      {"name": ["a.b.c.d", ...]}  what domain resolution answers (at most 64 used)
//   tunnels       [{"name","lns","user","port","status"}]  set up and torn down by the commands
//   nextTunnel    number of the next tunnel name ("l2tp<n>")
//   vpnAddressLists [{"tunnel","lns","user","kind":"dest"|"src","list"}]
//   dnsForward    [{"domains","server"}]
//   dnsStatistic  {"server": forwarded queries}
//   trafficMonitoring {"bundle": [list, ...]}
#include "families.h"
#include "services.h"
#include "zx_wire_tarn.h"

namespace zxsim {

const ServiceDef& tarn_service() {
    static const CommandFamily* const kFamilies[] = {&tarn::kVpnFamily, &tarn::kDnsFamily, &tarn::kTrafficFamily,
                                                     &tarn::kDeviceInfoFamily, &tarn::kLanHostsFamily,
                                                     &tarn::kHttpForwardFamily};
    static const ServiceDef kDef{ZX_TARN_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
