// Reading a text parameter's arbitrary data (a u32 byte length, then the UTF-8 bytes), and the
// text its control shows.
#pragma once

#include <string>

#include "host/HostServices.h"
#include "host/HostTypes.h"

namespace tv {

// The text held by a text parameter's handle; empty for a null handle or one too short.
std::string ReadTextParam(HostServices& host, PF_Handle handle);

// Writes `text` as the value of the calling instance's text parameter `index`, in a new handle.
PF_Err WriteTextParam(HostServices& host, PF_ProgPtr effect, int32_t index,
                      const std::string& text);

// What a name filter's control shows for its stored text: the text itself, or for an empty one
// the owner's placeholder, since an empty name means all.
using NameLabelFunc = std::string (*)(PF_InData*, const std::string& text);

// The effectors' and the main effect's light filters: an empty name shows as "<All Lights>".
std::string AllLightsLabel(PF_InData*, const std::string& text);

// Answers PF_Event_DRAW for the text parameter `index`: the label of its current text (without
// a label function, the text or "None") goes to the event's drawn text, cut at a whole UTF-8
// character when it is longer than the record.
PF_Err DrawNameText(PF_InData* in, int32_t index, NameLabelFunc label, PF_EventExtra& event);

}  // namespace tv
