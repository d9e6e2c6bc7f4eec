/* Stand-in for one of the gateway's platform libraries. The bridge's library probe only opens it
 * by its fixed name and closes it again, so a name and one symbol are all it needs. */
const char* zx_stub_library_name(void) { return ZX_STUB_NAME; }
