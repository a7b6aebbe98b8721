// The fuzzing targets: each reads arbitrary bytes as one kind of input and checks what must hold
// for any input (no crash, no leak, no undefined behaviour, and the property named below). The
// libFuzzer entry points in fuzz/ call them; the test suite replays the seeds and every input a
// fuzzer once failed on through them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tv::fuzz {

// A composition document: loaded; when it loads, its comps are estimated against a budget and it
// is saved and loaded again, which must succeed and save to the same text.
void FuzzDocument(const uint8_t* data, size_t size);

// An OBJ file's text: read whole and in small stretches over two threads, which must give the
// same positions, faces, normals, texture coordinates and result.
void FuzzObj(const uint8_t* data, size_t size);

// The stored records of parameters, chosen by the first byte: a text record (0), a gradient
// record (1) or a distance curve (2). Texts and gradients read back as they are made again.
void FuzzRecords(const uint8_t* data, size_t size);

// An effect instance's saved sequence record of any generation: set up again through the
// embedded host and flattened.
void FuzzSequence(const uint8_t* data, size_t size);

// A run's options and farm environment, as fields separated by NUL bytes: --frames, --shard,
// --shard-mode, --memory-limit, -o, the frame count, SLURM_ARRAY_TASK_ID, _MIN, _MAX, _STEP,
// _COUNT, JOB_COMPLETION_INDEX and --shard-count (a field left out is not given). They go
// through what `tavrin render` does with them before drawing; refusals must be the documented
// errors, and an accepted plan must hold frames inside the comp, in order, each once, this run's
// shard a part of them, never more than one run renders.
void FuzzCommandLine(const uint8_t* data, size_t size);

// Stops the process with a message when `holds` is false: a finding for the fuzzer.
void Require(bool holds, const char* what);

}  // namespace tv::fuzz
