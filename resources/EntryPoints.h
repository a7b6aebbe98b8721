// The 21 entry functions, parameter tables and rows, one per effect, from every family.
#pragma once

#include "effectors/EffectorEntries.h"
#include "main/MainEntries.h"
#include "renderers/RendererEntries.h"
#include "sources/SourceEntries.h"
