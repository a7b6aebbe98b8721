// The studio's HTTP rules, against a server started in this process on a free port: the token,
// the host name, the origin, unknown paths, body sizes, malformed JSON, and paths that would
// lead out of the document's folder. A refused request changes nothing.
#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "studio/Server.h"

namespace tv::studio {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// A folder holding a copy of the bundled example, removed afterwards.
struct Folder {
    fs::path path;
    Folder() {
        path = fs::temp_directory_path() / ("tavrin-studio-" + RandomToken());
        fs::create_directories(path / "inside");
        fs::copy_file(fs::path(TAVRIN_TEST_DATA) / ".." / "examples" / "network.json",
                      path / "network.json");
    }
    ~Folder() { fs::remove_all(path); }
};

// A server on a free port, serving on its own thread.
struct Running {
    StudioServer server;
    std::thread thread;
    explicit Running(const StudioOptions& options) : server(options) {
        server.bind();
        thread = std::thread([this] { server.run(); });
    }
    ~Running() {
        server.stop();
        thread.join();
    }
    std::string path(const std::string& rest) const { return "/" + server.token() + "/" + rest; }
    httplib::Client client() const {
        httplib::Client c("127.0.0.1", server.port());
        c.set_read_timeout(60);
        return c;
    }
};

StudioOptions Options(const Folder& folder, size_t maxBody = size_t(16) << 20) {
    StudioOptions o;
    o.document = (folder.path / "network.json").string();
    o.maxBody = maxBody;
    return o;
}

int Status(const httplib::Result& r) {
    return r ? r->status : -1;
}

std::string Error(const httplib::Result& r) {
    return r ? json::parse(r->body).value("error", "") : "";
}

uint64_t Version(Running& s) {
    auto r = s.client().Get(s.path("api/state").c_str());
    return json::parse(r->body)["version"].get<uint64_t>();
}

TEST(StudioServer, ServesOnlyTheLoopbackAddressWithATokenInIt) {
    Folder folder;
    Running s(Options(folder));
    EXPECT_EQ(s.server.url(),
              "http://127.0.0.1:" + std::to_string(s.server.port()) + "/" + s.server.token() + "/");
    EXPECT_EQ(s.server.token().size(), 32u);
    EXPECT_EQ(Status(s.client().Get(s.path("").c_str())), 200);
    EXPECT_EQ(Status(s.client().Get(s.path("app.js").c_str())), 200);
}

TEST(StudioServer, EveryRequestWithoutTheTokenIsRefused) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    const std::string token = s.server.token();
    for (const std::string& path :
         std::vector<std::string>{"/", "/api/state", "/index.html", "/app.js",
                                  fmt::format("/{}/api/state", std::string(32, '0')),
                                  fmt::format("/{}/api/state", token.substr(0, 31)),
                                  fmt::format("/{}x/api/state", token)}) {
        const auto r = c.Get(path.c_str());
        EXPECT_EQ(Status(r), 403) << path;
        EXPECT_NE(Error(r).find("token"), std::string::npos) << path;
    }
    EXPECT_EQ(Status(c.Post("/api/edit", "{}", "application/json")), 403);
    EXPECT_EQ(Status(c.Get(s.path("api/state").c_str())), 200);
}

TEST(StudioServer, AnotherHostNameIsRefused) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    const std::string port = std::to_string(s.server.port());
    for (const std::string& host : std::vector<std::string>{
             "example.com:" + port, "127.0.0.1", "evil.localhost:" + port, "127.0.0.1:1", ""}) {
        const auto r = c.Get(s.path("api/state").c_str(), {{"Host", host}});
        EXPECT_EQ(Status(r), 403) << host;
    }
    EXPECT_EQ(Status(c.Get(s.path("api/state").c_str(), {{"Host", "localhost:" + port}})), 200);
}

TEST(StudioServer, ACrossOriginRequestIsRefusedAndChangesNothing) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    const uint64_t before = Version(s);
    const std::string edit = R"({"op": "setParam", "comp": 0, "layer": 0, "effect": 3,
                                 "param": 2, "value": 99})";
    for (const std::string& origin :
         std::vector<std::string>{"http://example.com", "null", "http://127.0.0.1",
                                  "https://127.0.0.1:" + std::to_string(s.server.port())}) {
        const auto r =
            c.Post(s.path("api/edit").c_str(), {{"Origin", origin}}, edit, "application/json");
        EXPECT_EQ(Status(r), 403) << origin;
        EXPECT_EQ(Error(r), "requests from another origin are refused");
    }
    EXPECT_EQ(Version(s), before);
    const std::string own = "http://127.0.0.1:" + std::to_string(s.server.port());
    EXPECT_EQ(
        Status(c.Post(s.path("api/edit").c_str(), {{"Origin", own}}, edit, "application/json")),
        200);
    EXPECT_GT(Version(s), before);
}

TEST(StudioServer, UnknownPathsAreNotFound) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    for (const char* path : {"api/nothing", "nothing.js", "../network.json", "api/state/x",
                             "network.json", "index.txt"}) {
        const auto r = c.Get(s.path(path).c_str());
        EXPECT_EQ(Status(r), 404) << path;
        EXPECT_FALSE(Error(r).empty()) << path;
    }
}

TEST(StudioServer, ABodyOverTheLimitIsRefused) {
    Folder folder;
    Running s(Options(folder, 4096));
    auto c = s.client();
    const uint64_t before = Version(s);
    const std::string body = R"({"text": ")" + std::string(5000, ' ') + R"("})";
    const auto r = c.Put(s.path("api/document").c_str(), body, "application/json");
    EXPECT_EQ(Status(r), 413);
    EXPECT_EQ(Version(s), before);
}

TEST(StudioServer, MalformedJsonIsRefusedWithAMessage) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    const uint64_t before = Version(s);
    auto r = c.Post(s.path("api/edit").c_str(), "{\"op\": ", "application/json");
    EXPECT_EQ(Status(r), 400);
    EXPECT_NE(Error(r).find("the body is not JSON"), std::string::npos) << Error(r);
    r = c.Post(s.path("api/edit").c_str(), "[1, 2]", "application/json");
    EXPECT_EQ(Status(r), 400);
    EXPECT_EQ(Error(r), "the body is not a JSON object");
    r = c.Post(s.path("api/edit").c_str(), R"({"op": "setParam"})", "text/plain");
    EXPECT_EQ(Status(r), 415);
    r = c.Post(s.path("api/edit").c_str(), R"({"op": "fly"})", "application/json");
    EXPECT_EQ(Status(r), 400);
    EXPECT_NE(Error(r).find("no edit \"fly\""), std::string::npos) << Error(r);
    r = c.Get(s.path("api/state?time=soon").c_str());
    EXPECT_EQ(Status(r), 400);
    EXPECT_EQ(Version(s), before);
}

TEST(StudioServer, ADocumentThatDoesNotLoadIsRefusedWithItsJsonPath) {
    Folder folder;
    Running s(Options(folder));
    auto c = s.client();
    const uint64_t before = Version(s);
    const auto text = c.Get(s.path("api/document").c_str())->body;
    const auto r = c.Post(s.path("api/edit").c_str(),
                          R"({"op": "setParam", "comp": 0, "layer": 0, "effect": 3, "param": 2,
                              "value": "far"})",
                          "application/json");
    EXPECT_EQ(Status(r), 422);
    const json answer = json::parse(r->body);
    EXPECT_EQ(answer["path"], "$.comps[0].layers[0].effects[3].params.Maximum Distance");
    EXPECT_EQ(Version(s), before);
    EXPECT_EQ(c.Get(s.path("api/document").c_str())->body, text);
}

TEST(StudioServer, PathsOutsideTheDocumentsFolderAreRefused) {
    Folder folder;
    fs::create_directory_symlink(fs::temp_directory_path(), folder.path / "inside" / "out");
    Running s(Options(folder));
    auto c = s.client();
    const uint64_t before = Version(s);
    for (const std::string path : {"../escaped.json", "/tmp/escaped.json", "inside/out/x.json",
                                   "inside/../../escaped.json"}) {
        const auto r =
            c.Post(s.path("api/save").c_str(), json{{"path", path}}.dump(), "application/json");
        EXPECT_EQ(Status(r), 403) << path;
        EXPECT_NE(Error(r).find("outside the document's folder"), std::string::npos) << path;
    }
    EXPECT_FALSE(fs::exists(folder.path.parent_path() / "escaped.json"));
    for (const std::string dir : {"..", "/", "inside/out"})
        EXPECT_EQ(Status(c.Get(s.path("api/files?dir=" + dir).c_str())), 403) << dir;
    // A document that names a file outside: refused at the file's JSON path.
    json doc = json::parse(
        json::parse(c.Get(s.path("api/document").c_str())->body)["text"].get<std::string>());
    doc["comps"][0]["layers"].push_back({{"name", "Peek"}, {"image", {{"file", "/etc/hostname"}}}});
    const auto r = c.Put(s.path("api/document").c_str(), json{{"text", doc.dump()}}.dump(),
                         "application/json");
    EXPECT_EQ(Status(r), 403);
    EXPECT_EQ(json::parse(r->body)["path"], "$.comps[0].layers[1].image.file");
    EXPECT_EQ(Version(s), before);
    // Inside the folder, saving works.
    EXPECT_EQ(Status(c.Post(s.path("api/save").c_str(), R"({"path": "inside/saved.json"})",
                            "application/json")),
              200);
    EXPECT_TRUE(fs::exists(folder.path / "inside" / "saved.json"));
}

TEST(StudioServer, AnAllowedFolderMayBeUsed) {
    Folder folder, other;
    StudioOptions o = Options(folder);
    o.allowDirs = {other.path.string()};
    Running s(o);
    const auto r = s.client().Post(s.path("api/save").c_str(),
                                   json{{"path", (other.path / "copy.json").string()}}.dump(),
                                   "application/json");
    EXPECT_EQ(Status(r), 200);
    EXPECT_TRUE(fs::exists(other.path / "copy.json"));
}

}  // namespace
}  // namespace tv::studio
