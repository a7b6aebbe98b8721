// The studio's API, each route with the JSON it takes and gives (studio/Routes.cpp reads top to
// bottom); every path starts with /TOKEN/.
#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace tv::studio {

class Session;

void AddRoutes(httplib::Server& server, const std::string& prefix, Session& session);

}  // namespace tv::studio
