#include "auth/radius_answer.h"

#include <string>
#include <vector>

#include "client/client.h"
#include "station/command_info.h"

namespace vesta {

void keepClasses(PortalInstanceInterface& instance, const std::shared_ptr<Client>& client,
                 const librad_radius_msg& msg) {
    const std::vector<std::string> classes = librad_radius_msg_get_classes(&msg);
    instance.changeClient(client, [&](Client& changed) {
        if (librad_radius_sta_info* const sta = changed.getRadiusSta()) {
            sta->classes = classes;
        }
    });
}

void throwOut(PortalInstanceInterface& instance, const std::shared_ptr<Client>& client) {
    instance.changeClient(client, [](Client& changed) { changed.disconnect_client(); });
    instance.delClient(client, CommandInfo(END_REASON_RADIUS_REQUEST));
}

}  // namespace vesta
