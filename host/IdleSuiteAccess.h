// The idle suite as the effects take and give it back, with the texts a host's console shows
// when either fails.
#pragma once

#include "host/HostServices.h"

namespace tv {

inline constexpr const char* kIdleSuiteLoadError = "Couldn't load Tavr suite.";
inline constexpr const char* kIdleSuiteMissing = "No Tavr Idle Suite Found! Cannot Add to Stack.";
inline constexpr const char* kIdleSuiteReleaseError = "Couldn't release Tavr Idle suite.";

// Gives the suite back; a host that refuses says so on its console and the effect goes on.
inline void ReleaseIdleSuite(HostServices& host, IdleSuite* idle) {
    try {
        host.releaseIdleSuite(idle);
    } catch (const HostErrorCode&) {
        host.diagnostic(kIdleSuiteReleaseError);
    }
}

}  // namespace tv
