// Added to the contract build by Contract.UndeclaredPlatformFunctionFailsTheLink: a bridge unit
// that calls a function of the host platform library which include/ does not declare (it declares
// the function itself, as a unit that bypassed the headers would). The link must refuse it.
#include <string>

namespace zxhost {
std::string bus_dir();
}

__attribute__((visibility("default"))) unsigned long zx_contract_probe_bus_dir_length() {
    return zxhost::bus_dir().size();
}
