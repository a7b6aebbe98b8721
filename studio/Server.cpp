#include "studio/Server.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include <fstream>
#include <random>
#include <stdexcept>

#include "studio/EffectTables.h"
#include "studio/Routes.h"
#include "studio/Session.h"

namespace tv::studio {

namespace {

constexpr const char* kAddress = "127.0.0.1";

// Compares without stopping at the first difference, so the time taken tells nothing of how
// much of a guessed token was right.
bool SameText(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

void Refuse(httplib::Response& res, int status, const std::string& message) {
    res.status = status;
    res.set_content(nlohmann::json{{"error", message}}.dump(), "application/json");
}

const char* StatusText(int status) {
    switch (status) {
        case 400:
            return "the request is not well formed";
        case 403:
            return "refused";
        case 404:
            return "no such path";
        case 405:
            return "that method is not allowed here";
        case 413:
            return "the request body is larger than the studio takes";
        case 414:
            return "the address is too long";
        default:
            return "the request failed";
    }
}

}  // namespace

std::string RandomToken() {
    std::random_device random;  // the system's source (getrandom, /dev/urandom)
    std::string token;
    for (int i = 0; i < 4; ++i) token += fmt::format("{:08x}", uint32_t(random()));
    return token;
}

struct StudioServer::Impl {
    EffectTables tables;
    Session session;
    httplib::Server http;
    Impl(const StudioOptions& options)
        : tables(), session(Session::Options{options.document, options.allowDirs}, tables) {}
};

StudioServer::StudioServer(const StudioOptions& options)
    : impl_(std::make_unique<Impl>(options)), options_(options), token_(RandomToken()) {}

StudioServer::~StudioServer() {
    stop();
}

std::string StudioServer::url() const {
    return fmt::format("http://{}:{}/{}/", kAddress, port_, token_);
}

int StudioServer::bind() {
    httplib::Server& http = impl_->http;
    if (options_.port == 0) {
        port_ = http.bind_to_any_port(kAddress);
        if (port_ <= 0) throw std::runtime_error("cannot bind 127.0.0.1 to any port");
    } else {
        if (!http.bind_to_port(kAddress, options_.port))
            throw std::runtime_error(
                fmt::format("cannot bind 127.0.0.1:{} (is it in use?)", options_.port));
        port_ = options_.port;
    }
    const std::string prefix = "/" + token_;
    const std::vector<std::string> hosts = {fmt::format("127.0.0.1:{}", port_),
                                            fmt::format("localhost:{}", port_)};
    const std::vector<std::string> origins = {"http://" + hosts[0], "http://" + hosts[1]};

    http.set_payload_max_length(options_.maxBody);
    http.set_default_headers({{"Cache-Control", "no-store"},
                              {"X-Content-Type-Options", "nosniff"},
                              {"X-Frame-Options", "DENY"},
                              {"Referrer-Policy", "no-referrer"},
                              {"Content-Security-Policy",
                               "default-src 'self'; img-src 'self' blob: data:; "
                               "frame-ancestors 'none'"}});
    // Before anything else is read: the host name (a page of another site that a DNS entry
    // points at 127.0.0.1 sends its own), the origin of a page's request, the token.
    http.set_pre_routing_handler([=](const httplib::Request& req, httplib::Response& res) {
        const std::string host = req.get_header_value("Host");
        if (std::find(hosts.begin(), hosts.end(), host) == hosts.end()) {
            Refuse(res, 403, "this studio answers only at " + hosts[0]);
            return httplib::Server::HandlerResponse::Handled;
        }
        if (req.has_header("Origin") &&
            std::find(origins.begin(), origins.end(), req.get_header_value("Origin")) ==
                origins.end()) {
            Refuse(res, 403, "requests from another origin are refused");
            return httplib::Server::HandlerResponse::Handled;
        }
        const std::string head = req.path.substr(0, prefix.size());
        if (!SameText(head, prefix) ||
            (req.path.size() > prefix.size() && req.path[prefix.size()] != '/')) {
            Refuse(res, 403,
                   "the address lacks the studio's token: use the address tavrin "
                   "studio printed");
            return httplib::Server::HandlerResponse::Handled;
        }
        if (req.path.size() == prefix.size()) {  // the token without its slash
            res.status = 302;
            res.set_header("Location", prefix + "/");
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    http.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (res.body.empty()) Refuse(res, res.status, StatusText(res.status));
    });
    http.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr error) {
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& e) {
                Refuse(res, 500, e.what());
            } catch (...) {
                Refuse(res, 500, "the request failed");
            }
        });
    AddRoutes(http, prefix, impl_->session);
    return port_;
}

void StudioServer::run() {
    impl_->http.listen_after_bind();
}

void StudioServer::stop() {
    if (impl_) impl_->http.stop();
}

}  // namespace tv::studio
