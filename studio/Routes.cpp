// The studio's API, top to bottom. Every path starts with /TOKEN/ (checked before any route
// runs, with the host name and origin: studio/Server.cpp). Bodies are JSON objects; answers are
// JSON, except the page's files and the frames (PNG). A refusal is {"error": message} with a
// 4xx status, and {"path": "$.comps[0]..."} when a document does not load there; nothing has
// changed then.
#include "studio/Routes.h"

#include <httplib.h>

#include "studio/WebFiles.h"  // generated from studio/web at configure time

#include <string_view>

#include "studio/Session.h"
#include "studio/StudioError.h"

namespace tv::studio {

namespace {

void Send(httplib::Response& res, const Json& body, int status = 200) {
    res.status = status;
    res.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

void SendError(httplib::Response& res, const StudioError& e) {
    Json body{{"error", e.what()}};
    if (!e.jsonPath().empty()) body["path"] = e.jsonPath();
    Send(res, body, e.status());
}

// A JSON object from the request body; 415 for another type, 400 for text that is not JSON.
Json BodyObject(const httplib::Request& req) {
    const std::string type = req.get_header_value("Content-Type");
    if (type.rfind("application/json", 0) != 0)
        throw StudioError(415, "send the body as application/json");
    Json body;
    try {
        body = Json::parse(req.body);
    } catch (const Json::parse_error& e) {
        throw StudioError(400, std::string("the body is not JSON: ") + e.what());
    }
    if (!body.is_object()) throw StudioError(400, "the body is not a JSON object");
    return body;
}

double NumberParam(const httplib::Request& req, const char* name, double otherwise) {
    if (!req.has_param(name)) return otherwise;
    const std::string text = req.get_param_value(name);
    try {
        size_t used = 0;
        const double v = std::stod(text, &used);
        if (used == text.size() && std::isfinite(v)) return v;
    } catch (const std::exception&) {
    }
    throw StudioError(400, std::string("\"") + name + "\" is not a number: " + text);
}

// Runs a handler, turning what it refuses into its answer.
template <class F>
httplib::Server::Handler Guarded(F handler) {
    return [handler](const httplib::Request& req, httplib::Response& res) {
        try {
            handler(req, res);
        } catch (const StudioError& e) {
            SendError(res, e);
        }
    };
}

}  // namespace

void AddRoutes(httplib::Server& http, const std::string& prefix, Session& session) {
    // GET /TOKEN/ and /TOKEN/NAME.js|css|html: the page, compiled into the binary.
    http.Get(prefix + "/", [](const httplib::Request&, httplib::Response& res) {
        for (const web::File& f : web::kFiles)
            if (std::string_view(f.name) == "index.html") res.set_content(f.body, f.type);
    });
    http.Get(prefix + R"(/([A-Za-z0-9_-]+\.(js|css|html)))",
             [](const httplib::Request& req, httplib::Response& res) {
                 for (const web::File& f : web::kFiles)
                     if (req.matches[1] == f.name) return res.set_content(f.body, f.type);
                 res.status = 404;
             });

    // GET api/effects: [{name, matchName, role, built, params: [row...]}], each row as
    // EffectTables.h describes.
    http.Get(prefix + "/api/effects", [&session](const httplib::Request&, httplib::Response& res) {
        Send(res, session.tables().json());
    });

    // GET api/state?time=SECONDS: the document as the page shows it (Session::state).
    http.Get(prefix + "/api/state",
             Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                 Send(res, session.state(NumberParam(req, "time", 0)));
             }));

    // GET api/document: {"text", "version"}; PUT api/document {"text"}: the whole document
    // replaced by the text pane (it must load) -> {"version"}.
    http.Get(prefix + "/api/document", [&session](const httplib::Request&, httplib::Response& res) {
        Send(res, {{"text", session.text()}, {"version", session.version()}});
    });
    http.Put(prefix + "/api/document",
             Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                 const Json body = BodyObject(req);
                 if (!body.contains("text") || !body["text"].is_string())
                     throw StudioError(400, "the body needs \"text\", the document");
                 Send(res, {{"version", session.replaceText(body["text"].get<std::string>())}});
             }));

    // POST api/edit {"op": ..., ...} (studio/DocumentEdits.h) -> {"version"}.
    http.Post(prefix + "/api/edit",
              Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                  Send(res, {{"version", session.edit(BodyObject(req))}});
              }));

    // POST api/undo, api/redo -> {"version"}; 409 when there is nothing to undo or redo.
    http.Post(prefix + "/api/undo",
              Guarded([&session](const httplib::Request&, httplib::Response& res) {
                  Send(res, {{"version", session.undo()}});
              }));
    http.Post(prefix + "/api/redo",
              Guarded([&session](const httplib::Request&, httplib::Response& res) {
                  Send(res, {{"version", session.redo()}});
              }));

    // POST api/save {"path"?}: writes the document as `tavrin save` does, to its own file or
    // to `path` inside the allowed folders -> {"path", "version"}.
    http.Post(prefix + "/api/save",
              Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                  const Json body = BodyObject(req);
                  std::string path;
                  if (body.contains("path")) {
                      if (!body["path"].is_string())
                          throw StudioError(400, "\"path\" is a file name");
                      path = body["path"].get<std::string>();
                  }
                  Send(res, session.save(path));
              }));

    // POST api/export-svg {"comp", "layer" (a name; "" the first carrying "Tavrin"), "frame",
    // "sequence", "path"}: the "Export SVG" button pressed, its dialog answered with the path
    // -> {"path", "layer"}.
    http.Post(prefix + "/api/export-svg",
              Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                  const Json body = BodyObject(req);
                  if (!body.contains("path") || !body["path"].is_string())
                      throw StudioError(400, "the body needs \"path\", the .svg file");
                  const Json layer = body.value("layer", Json(""));
                  const Json comp = body.value("comp", Json(0)),
                             frame = body.value("frame", Json(0));
                  const Json sequence = body.value("sequence", Json(false));
                  if (!layer.is_string() || !comp.is_number_integer() ||
                      !frame.is_number_integer() || !sequence.is_boolean())
                      throw StudioError(400,
                                        "\"layer\" is a name, \"comp\" and \"frame\" "
                                        "whole numbers, \"sequence\" true or false");
                  Send(res, session.exportSvg(comp.get<int32_t>(), layer.get<std::string>(),
                                              frame.get<int64_t>(), sequence.get<bool>(),
                                              body["path"].get<std::string>()));
              }));

    // GET api/files?dir=D: the folder D (relative to the document's) for the page's file
    // dialogs; 403 outside the allowed folders (Session::listFolder).
    http.Get(prefix + "/api/files",
             Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                 Send(res, session.listFolder(req.get_param_value("dir")));
             }));

    // GET api/geometry?comp=C&layer=L&frame=F: the layer's gathered geometry and the comp
    // camera for the 3D view (Session::geometry).
    http.Get(prefix + "/api/geometry",
             Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                 Send(res, session.geometry(int32_t(NumberParam(req, "comp", 0)),
                                            int32_t(NumberParam(req, "layer", 0)),
                                            int64_t(NumberParam(req, "frame", 0))));
             }));

    // GET api/frame?version=V&comp=C&frame=F&scale=S: the frame as PNG (header X-Version);
    // 409 {"stale": true, "version": current} when version V is no longer the document's.
    http.Get(prefix + "/api/frame",
             Guarded([&session](const httplib::Request& req, httplib::Response& res) {
                 const auto version = uint64_t(NumberParam(req, "version", 0));
                 const auto comp = int32_t(NumberParam(req, "comp", 0));
                 const auto frame = int64_t(NumberParam(req, "frame", 0));
                 const auto scale = int32_t(NumberParam(req, "scale", 1));
                 Session::Frame f = session.frame(version, comp, frame, scale);
                 if (f.stale) return Send(res, {{"stale", true}, {"version", f.version}}, 409);
                 res.set_header("X-Version", std::to_string(f.version));
                 res.set_content(std::move(f.png), "image/png");
             }));
}

}  // namespace tv::studio
