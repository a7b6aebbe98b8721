// The host's time in seconds. frei0r says f0r_update's time is in seconds, and MLT and GStreamer
// give seconds; ffmpeg's frei0r and frei0r_src filters give milliseconds. The filters live in
// libavfilter, so the library that called is what tells.
#pragma once

namespace tv::frei0r {

// `time` as the caller at `caller` (a return address into the host) gave it, in seconds.
double HostSeconds(double time, const void* caller);

}  // namespace tv::frei0r

namespace tv::frei0r {

// A time within half a millisecond of a frame of a comp at `fps` frames per second becomes that
// frame's time: ffmpeg's frei0r source counts whole milliseconds, so frame 1 at 30 fps comes as
// 0.033 s, which the comp would draw a third of a millisecond before its frame.
double SnapToFrame(double seconds, double fps);

}  // namespace tv::frei0r
