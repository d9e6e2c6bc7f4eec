/*
 * Status codes of the gateway simulator itself. A command's own answer may be any status the real
 * service gives; these are what the simulator answers when it cannot serve a request at all.
 * They sit in the platform's 0xF7F0xxxx range, in a block of their own (0xF7F0Fxxx).
 */
#ifndef ZX_SIM_STATUS_H
#define ZX_SIM_STATUS_H

#define ZX_SIM_ERR_UNKNOWN_MSG 0xF7F0F001u /* the service has no command with that message id */
#define ZX_SIM_ERR_BAD_REQUEST 0xF7F0F002u /* the request is shorter than the command's record */

/*
 * What the simulated WLAN radio and configuration services answer for a request they refuse
 * (the library passes such a status on to its caller).
 */
#define ZX_SIM_WLAN_NO_RADIO 0xF7603001u  /* no radio with that index */
#define ZX_SIM_WLAN_BAD_VALUE 0xF7603002u /* a value the setting does not take (width, channel, hide, LED) */
#define ZX_SIM_WLAN_NO_SSID 0xF760300Au   /* no SSID with that index */

#endif
