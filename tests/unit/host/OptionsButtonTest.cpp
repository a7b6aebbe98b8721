// The options button's label: the OBJ source and the container name it "Import OBJ" when their
// parameters are set up; every other effect leaves the host's own.
#include <gtest/gtest.h>

#include <string>

#include "resources/EffectTable.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

TEST(OptionsButton, TheObjSourceAndTheContainerAreRelabelledImportObj) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 16,
      "height": 16, "layers": [{"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin"}, {"effect": "Tavrin OBJ Object"},
        {"effect": "Tavrin Container"}, {"effect": "Tavrin Points Renderer"}]}]}]})",
                                 "options.json", host);
    const auto& effects = host.project().comps.front()->layers.front()->effects;
    ASSERT_EQ(effects.size(), 4u);
    for (const auto& instance : effects) {
        const auto* installed = host.installedEffect(instance->key);
        const bool importsObj = installed->displayName == "Tavrin OBJ Object" ||
                                installed->displayName == "Tavrin Container";
        EXPECT_EQ(installed->optionsButtonName, importsObj ? "Import OBJ" : "")
            << installed->displayName;
    }
}

}  // namespace
}  // namespace tv
