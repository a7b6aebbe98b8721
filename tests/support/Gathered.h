// A document loaded into a host of its own and one layer of its first comp gathered at a frame,
// as the main effect would: the geometry and render items, freed when it goes.
#pragma once

#include <string>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "standalone/Document.h"

namespace tv::test {

struct Gathered {
    standalone::EmbeddedHost host;
    ObjectMessage m;
    PF_Err err = PF_Err_NONE;  // what Gather answered; the tests assert on it

    Gathered(const std::string& doc, size_t layer, int64_t frame = 0) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        InitObjectMessage(m);
        auto& comp = *host.project().comps[0];
        err = Gather(host, comp.layers[layer]->uid, comp.frameTime(frame), m);
    }
    ~Gathered() {
        if (m.renders) FreeRenderItems(m.renders->items);
        DisposeObjectMessage(m);
    }
    Gathered(const Gathered&) = delete;
    Gathered& operator=(const Gathered&) = delete;

    GeometryStore& g() { return *m.geometry; }
};

}  // namespace tv::test
