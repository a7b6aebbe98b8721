// What a frame of a comp will need before any of it is allocated: the vertices each layer's
// sources make, the pairs its line and triangle searches may keep, and how many comp renders its
// precomps expand to. A render or a validation refuses a document beyond the budget with a
// message naming the layer, the effect, the parameters and the numbers, instead of running out
// of memory or time.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

struct WorkItem {
    std::string where;  // comp, layer and effect
    std::string what;   // the parameters and the numbers
    double count = 0;   // vertices or pairs
    double bytes = 0;
};

struct WorkEstimate {
    std::vector<WorkItem> items;
    double bytes = 0;            // the largest layer's need: layers render one after another
    double precompRenders = 0;   // comp renders one frame expands to
    std::string precompWhere;    // the chain that expands the most
    int precompDepth = 0;        // precomp levels at the deepest
    std::string precompDeepest;  // that chain
};

// Bytes a vertex and a kept pair cost through gather, search and drawing, measured upper values.
inline constexpr double kBytesPerVertex = 200;
inline constexpr double kBytesPerPair = 96;
// A frame may expand to this many comp renders through its precomps.
inline constexpr double kMaxPrecompRenders = 4096;
// Precomps nest at most this deep; the compositor stops there.
inline constexpr int kMaxPrecompDepth = 32;

WorkEstimate EstimateFrameWork(const EmbeddedHost& host, const Comp& comp);

class WorkLimitError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws WorkLimitError when one frame of the comp would need more than `limitBytes`, or its
// precomps expand beyond kMaxPrecompRenders.
void CheckWorkBudget(const EmbeddedHost& host, const Comp& comp, double limitBytes);

// The default budget: three quarters of the machine's memory.
double DefaultMemoryLimit();

// "1.5 GB" style sizes, and "4g", "512m", "2048" (bytes) back; -1 when unreadable.
std::string FormatBytes(double bytes);
double ParseBytes(const std::string& text);

}  // namespace tv::standalone
