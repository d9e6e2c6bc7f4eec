// The "wifi" service: the WLAN radios. Two radios (index 0: 2.4 GHz, index 1: 5 GHz) with their
// channel, automatic channel selection, channel width and forbidden channels; one WPS session at a
// time; the wireless hosts associated with the SSIDs.
//
// State members:
//   radios   [{"index", "band" ("2.4GHz"/"5GHz"), "channel", "autoChannel" (bool),
//             "channelWidth" (MHz: 20, 40, and on 5 GHz 80, 160), "forbiddenChannels" ([numbers])}]
//   wpsMs    length of a WPS session in milliseconds (default 120000)
//   wps      {"active" (bool), "ssidIndex", "beginMs"}: the session last started
//   hosts    [{"mac", "ssidIndex", "rssi" (dBm), "txRate", "rxRate" (Mbit/s)}]
// A WPS session's end is applied when the next request arrives, so the state read over the control
// socket may still show a session that has run its time.
#include "families.h"
#include "services.h"
#include "zx_wire_wifi.h"

namespace zxsim {

const ServiceDef& wifi_service() {
    static const CommandFamily* const kFamilies[] = {&wifi::kRadiosFamily, &wifi::kWpsFamily, &wifi::kHostsFamily};
    static const ServiceDef kDef{ZX_WIFI_ENDPOINT, kFamilies};
    return kDef;
}

}  // namespace zxsim
