// Writes docs/schema/document.schema.json from the effects' parameter tables:
// `cmake --build build --target document_schema`. A test fails when the committed file differs.
#include <cstdio>
#include <fstream>

#include "standalone/DocumentSchema.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: tavrin_schema OUTPUT.json\n");
        return 2;
    }
    std::ofstream out(argv[1], std::ios::binary);
    out << tv::standalone::DocumentSchema().dump(2) << "\n";
    out.close();
    if (!out) {
        std::fprintf(stderr, "tavrin_schema: cannot write %s\n", argv[1]);
        return 2;
    }
    return 0;
}
