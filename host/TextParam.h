// Reading a text parameter's arbitrary data: a u32 byte length, then the UTF-8 bytes.
#pragma once

#include <string>

#include "host/HostServices.h"

namespace tv {

// The text held by a text parameter's handle; empty for a null handle or one too short.
std::string ReadTextParam(HostServices& host, PF_Handle handle);

// Writes `text` as the value of the calling instance's text parameter `index`, in a new handle.
PF_Err WriteTextParam(HostServices& host, PF_ProgPtr effect, int32_t index,
                      const std::string& text);

}  // namespace tv
