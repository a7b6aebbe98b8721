// tavrin: the command-line renderer of composition documents.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "cli/EffectsCommand.h"

int main(int argc, char** argv) {
    CLI::App app{"tavrin: 3D particle and network graphics from composition documents"};
    app.require_subcommand(0, 1);

    std::string effectName;
    auto* effects = app.add_subcommand("effects", "List the effects, or one effect's parameters");
    effects->add_option("name", effectName, "display name or match name of one effect");

    auto* render = app.add_subcommand("render", "Render a composition document to image files");
    std::string document;
    render->add_option("document", document, "the composition document (JSON)");

    CLI11_PARSE(app, argc, argv);

    if (effects->parsed()) return tv::cli::RunEffectsCommand(effectName);
    if (render->parsed() || app.get_subcommands().empty()) {
        std::fprintf(stderr,
                     "tavrin render: document loading and the frame renderer are not built yet.\n"
                     "The effect family is registered; `tavrin effects` lists it.\n");
        return 3;
    }
    return 0;
}
