# The frei0r plug-ins in real hosts (Debian's ffmpeg and melt): every frame they make equals
# `tavrin render` of the same frame laid over the same background.
#
# Tolerance: 1 level of 8 bits per channel. The plug-in lays the straight 8-bit frame that
# `tavrin render` writes over the host's frame in single precision; these tests do the same in
# double precision, so a channel may round the other way.
import json

import numpy as np

from conftest import EXAMPLES, decode_rgba, frei0r_env, over, run, run_melt, tavrin_frame

WIDTH, HEIGHT = 320, 180
BACKGROUND = (0x33, 0x66, 0x99, 0xFF)
TOLERANCE = 1


def ffmpeg_frames(graph, frames, inputs=None):
    """The frames an ffmpeg filter graph makes, as straight 8-bit RGBA, and ffmpeg's log."""
    inputs = inputs or ["-f", "lavfi", "-i",
                        f"color=c=0x336699:s={WIDTH}x{HEIGHT}:r=30,format=rgba"]
    out, log = run(["ffmpeg", "-v", "info", "-nostdin"] + inputs +
                   ["-vf", graph, "-frames:v", str(frames), "-f", "rawvideo", "-pix_fmt",
                    "rgba", "-"], env=frei0r_env())
    return np.frombuffer(out, np.uint8).reshape(-1, HEIGHT, WIDTH, 4), log


def filter_graph(document, comp="", layer="", offset=0.0):
    return f"frei0r=filter_name=tavrin:filter_params={document}|{comp}|{layer}|{offset}"


def background():
    return np.broadcast_to(np.array(BACKGROUND, np.uint8), (HEIGHT, WIDTH, 4))


def assert_close(actual, expected, what):
    assert actual.shape == expected.shape, what
    difference = np.abs(actual.astype(int) - expected.astype(int))
    worst = np.unravel_index(np.argmax(difference), difference.shape)
    assert difference.max() <= TOLERANCE, (
        f"{what}: {difference.max()} levels apart at (y, x, channel) {worst}, "
        f"{np.count_nonzero(difference > TOLERANCE)} values past {TOLERANCE}")


def drawn(frame):
    """How many pixels differ from the plain background: the comp must have drawn something."""
    return int(np.count_nonzero(np.any(frame != np.array(BACKGROUND, np.uint8), axis=-1)))


def test_ffmpeg_filter_lays_the_example_network_over_a_clip(tmp):
    # A 1280x720 comp in a 320x180 clip: drawn at a quarter, like `tavrin render --scale 1/4`.
    document = EXAMPLES / "network.json"
    frames, _ = ffmpeg_frames(filter_graph(document, "Network"), 2)
    assert len(frames) == 2
    for n in range(2):
        expected = over(tavrin_frame(document, n, tmp, scale="1/4"), background())
        assert_close(frames[n], expected, f"frame {n}")
        assert drawn(frames[n]) > 1000


def test_ffmpeg_filter_draws_at_the_hosts_time_plus_the_offset(tmp):
    # The orbit moves its camera: frame 10 differs from frame 0, and ffmpeg's time reaches the
    # plug-in as seconds whatever unit ffmpeg hands it in.
    document = EXAMPLES / "orbit.json"
    frames, _ = ffmpeg_frames(filter_graph(document), 11)
    shifted, _ = ffmpeg_frames(filter_graph(document, offset=0.5), 1)
    for got, n in [(frames[0], 0), (frames[10], 10), (shifted[0], 15)]:
        assert_close(got, over(tavrin_frame(document, n, tmp, scale="1/4"), background()),
                     f"frame {n}")
    assert np.any(frames[0] != frames[10])


def test_ffmpeg_source_draws_the_comp_alone(tmp):
    document = EXAMPLES / "orbit.json"
    out, _ = run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
                  f"frei0r_src=size={WIDTH}x{HEIGHT}:framerate=30:filter_name=tavrin_src:"
                  f"filter_params={document}||",
                  "-frames:v", "6", "-f", "rawvideo", "-pix_fmt", "rgba", "-"], env=frei0r_env())
    frames = np.frombuffer(out, np.uint8).reshape(-1, HEIGHT, WIDTH, 4)
    assert len(frames) == 6
    for n in (0, 5):
        expected = tavrin_frame(document, n, tmp, scale="1/4")
        # Nothing lies under a source's frame: its bytes are the PNG's.
        assert np.array_equal(frames[n], expected), f"frame {n}"
    alpha = frames[0][..., 3]
    assert np.count_nonzero(alpha == 0) > 1000 and np.count_nonzero(alpha) > 1000


def test_ffmpeg_runs_two_instances_in_one_graph(tmp):
    network, orbit = EXAMPLES / "network.json", EXAMPLES / "orbit.json"
    frames, _ = ffmpeg_frames(filter_graph(network) + "," + filter_graph(orbit), 2)
    for n in range(2):
        under = over(tavrin_frame(network, n, tmp, scale="1/4"), background())
        expected = over(tavrin_frame(orbit, n, tmp, scale="1/4"), under)
        # Two layings, each of which may round the other way.
        difference = np.abs(frames[n].astype(int) - expected.astype(int))
        assert difference.max() <= 2 * TOLERANCE, f"frame {n}: {difference.max()} levels apart"


def test_broken_document_passes_frames_through_with_a_log_line(tmp):
    broken = tmp / "broken.json"
    document = json.loads((EXAMPLES / "network.json").read_text())
    document["comps"][0]["layers"][0]["effects"][2]["params"]["Points Sise"] = 2
    broken.write_text(json.dumps(document))
    frames, log = ffmpeg_frames(filter_graph(broken), 3)
    assert len(frames) == 3
    for frame in frames:
        assert np.array_equal(frame, background())
    lines = [l for l in log.splitlines() if l.startswith("[tavrin frei0r]")]
    # Once, not once a frame, naming the file, the JSON path and the nearest valid name.
    assert len(lines) == 1, log
    assert str(broken) in lines[0] and "Points Sise" in lines[0] and "Points Size" in lines[0]
    assert "frames pass through unchanged" in lines[0]


def test_missing_document_and_unknown_comp_pass_frames_through(tmp):
    for graph, words in [(filter_graph(tmp / "nowhere.json"), "nowhere.json"),
                         (filter_graph(EXAMPLES / "network.json", "Netwrok"), "Netwrok")]:
        frames, log = ffmpeg_frames(graph, 1)
        assert np.array_equal(frames[0], background())
        assert any(l.startswith("[tavrin frei0r]") and words in l for l in log.splitlines()), log


def test_layer_parameter_draws_that_layer_alone(tmp):
    # Two networks side by side; naming one layer draws it as the document without the other.
    document = json.loads((EXAMPLES / "network.json").read_text())
    layer = document["comps"][0]["layers"][0]
    left = json.loads(json.dumps(layer))
    left["name"] = "Left"
    left["transform"] = {"position": [340, 360]}
    document["comps"][0]["layers"].append(left)
    both = tmp / "both.json"
    both.write_text(json.dumps(document))
    left["enabled"] = False
    alone = tmp / "alone.json"
    document["comps"][0]["layers"][1]["enabled"] = False
    alone.write_text(json.dumps(document))
    frames, _ = ffmpeg_frames(filter_graph(both, "", "Network"), 1)
    assert_close(frames[0], over(tavrin_frame(alone, 0, tmp, scale="1/4"), background()),
                 "layer Network alone")
    everything, _ = ffmpeg_frames(filter_graph(both), 1)
    assert np.any(everything[0] != frames[0])


def assert_melt_draws_orbit(tmp, name, source_args, consumer_args=()):
    """melt writes frames 0 to 5 of `source_args` as PNGs named `name`_01.png ...; frames 0 and
    5 must equal tavrin render of the example orbit over the background colour."""
    document = EXAMPLES / "orbit.json"
    pattern = tmp / f"{name}_%02d.png"
    frames = [tmp / f"{name}_{n + 1:02d}.png" for n in range(6)]
    run_melt(["-silent"] + source_args(document) +
             ["-consumer", f"avformat:{pattern}", "vcodec=png", "pix_fmt=rgba", "real_time=0"] +
             list(consumer_args), frames, frei0r_env())
    for n in (0, 5):
        got = decode_rgba(frames[n], WIDTH, HEIGHT)
        expected = over(tavrin_frame(document, n, tmp, scale="1/4"), background())
        assert_close(got, expected, f"{name} frame {n}")
        assert drawn(got) > 100, f"{name} frame {n} drew nothing"


def test_melt_runs_the_filter(tmp):
    # melt's own colour producer under the filter, written as PNG frames by its avformat consumer.
    assert_melt_draws_orbit(
        tmp, "melt",
        lambda document: ["-profile", "atsc_720p_30", "color:#336699", "in=0", "out=5",
                          "-filter", "frei0r.tavrin", f"0={document}", "1=", "2=", "3=0"],
        ["width=320", "height=180"])


def test_melt_plays_an_mlt_project_naming_the_filter(tmp):
    # Kdenlive and Shotcut keep their projects as MLT XML and play them through MLT: a project
    # that names the filter inside its tractor, as docs/hosts.md shows, played by melt. A
    # filter on the tractor draws at the project's size, so the project is made 320x180.
    def project(document):
        path = tmp / "project.mlt"
        path.write_text(f"""<?xml version="1.0" encoding="utf-8"?>
<mlt LC_NUMERIC="C">
  <profile width="{WIDTH}" height="{HEIGHT}" frame_rate_num="30" frame_rate_den="1" progressive="1"
    sample_aspect_num="1" sample_aspect_den="1" display_aspect_num="16" display_aspect_den="9"
    colorspace="709"/>
  <producer id="background" in="0" out="5">
    <property name="mlt_service">color</property>
    <property name="resource">#336699</property>
  </producer>
  <playlist id="track0">
    <entry producer="background" in="0" out="5"/>
  </playlist>
  <tractor id="project" in="0" out="5">
    <track producer="track0"/>
    <filter id="tavrin">
      <property name="mlt_service">frei0r.tavrin</property>
      <property name="0">{document}</property>
      <property name="1">Orbit</property>
    </filter>
  </tractor>
</mlt>
""")
        return [str(path)]

    assert_melt_draws_orbit(tmp, "project", project)
