#include "library/host_services.h"

#include "library/platform.h"

namespace ovrasql {

HostServices hostServices;

void BindHostServices(void* module) {
#define OVRA_CALLED_SERVICE(name) \
    hostServices.name = reinterpret_cast<decltype(hostServices.name)>(FindInModule(module, #name));
#define OVRA_UNCALLED_SERVICE(name) hostServices.name = FindInModule(module, #name);
#include "library/host_service_names.def"
}

}  // namespace ovrasql
