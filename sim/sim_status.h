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

/* What the simulated broadband and configuration services answer for LAN hosts, NAT rules and HTTP
 * forwarding requests they refuse. */
#define ZX_SIM_LAN_NO_HOST 0xF7302D01u   /* no LAN host with that MAC or name */
#define ZX_SIM_LAN_BAD_VALUE 0xF7302D02u /* a switch that is neither 0 nor 1, an unknown operation */
#define ZX_SIM_NAT_EXISTS 0xF7103A01u    /* the NAT rule is there already */
#define ZX_SIM_NAT_MISSING 0xF7103A02u   /* no such NAT rule to delete */
#define ZX_SIM_FWD_NOT_INIT 0xF7307001u  /* HTTP forwarding was not initialised */

/* What the simulated USB manager answers for disc requests it refuses. */
#define ZX_SIM_DISC_UNKNOWN 0xF7104001u     /* no disc of that name or mount path */
#define ZX_SIM_DISC_BAD_NAME 0xF7104002u    /* a new name that is empty, 64 characters long or holds '/' */
#define ZX_SIM_DISC_BAD_REQUEST 0xF7104003u /* a disc-list request other than the 5 bytes "input" */

/* What the simulated configuration service answers for media-scanner requests it refuses. */
#define ZX_SIM_SCAN_OFF 0xF7105001u      /* the scanner is switched off */
#define ZX_SIM_SCAN_BAD_TYPE 0xF7105002u /* a file type other than "video", "picture", "music" */

/* What the simulated bundle manager answers when it cannot write the plug-in permissions. */
#define ZX_SIM_PERM_NO_SEGMENT 0xF7213011u /* the caller's segment does not exist */
#define ZX_SIM_PERM_TOO_LARGE 0xF7213012u  /* the size asked for is larger than the segment */

/* What the simulated voice service answers for do-not-disturb requests it refuses. */
#define ZX_SIM_VOICE_NO_LINE 0xF7209001u   /* no POTS line with that number */
#define ZX_SIM_VOICE_BAD_STATE 0xF7209002u /* a state other than 0 and 1 */

#endif
