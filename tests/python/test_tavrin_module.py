# The Python module against the command line: the same frames, the same geometry, the same
# errors, from one thread or two.
import json
import os
import pathlib
import subprocess
import threading
import warnings

import numpy as np
import pytest

import tavrin

TAVRIN = os.environ["TAVRIN"]
EXAMPLES = pathlib.Path(os.environ["TAVRIN_SOURCE_DIR"]) / "examples"
NETWORK = EXAMPLES / "network.json"
LINES = "Tavrin Lines Renderer"


def run(args):
    done = subprocess.run(args, capture_output=True, timeout=300)
    assert done.returncode == 0, done.stderr.decode(errors="replace")
    return done.stdout


def png_rgba(path):
    """A PNG as straight 8-bit RGBA, decoded by ffmpeg."""
    with open(path, "rb") as f:
        head = f.read(24)
    width, height = int.from_bytes(head[16:20], "big"), int.from_bytes(head[20:24], "big")
    out = run(["ffmpeg", "-v", "error", "-i", str(path), "-f", "rawvideo", "-pix_fmt", "rgba",
               "-"])
    return np.frombuffer(out, np.uint8).reshape(height, width, 4)


def rendered(document, frame, tmp_path, scale="1/4"):
    png = tmp_path / f"frame_{frame}.png"
    run([TAVRIN, "render", str(document), "--frames", str(frame), "-o", str(png), "--scale",
         scale])
    return png_rgba(png)


def test_a_frame_equals_the_png_of_tavrin_render(tmp_path):
    doc = tavrin.load(str(NETWORK))
    frame = doc.render(0, scale=0.25)
    assert frame.dtype == np.uint8 and frame.shape == (180, 320, 4)
    assert np.array_equal(frame, rendered(NETWORK, 0, tmp_path))
    assert np.count_nonzero(frame[..., 3]) > 1000


def test_float_frames_straight_and_premultiplied_agree():
    doc = tavrin.load(str(NETWORK))
    straight = doc.render(0, dtype="float32", scale=0.25)
    premultiplied = doc.render(0, dtype="float32", alpha="premultiplied", scale=0.25)
    assert straight.dtype == np.float32 and straight.flags["C_CONTIGUOUS"]
    assert np.array_equal(straight[..., 3], premultiplied[..., 3])
    covered = premultiplied[..., 3] > 0
    np.testing.assert_allclose((straight[..., :3] * straight[..., 3:])[covered],
                               premultiplied[..., :3][covered], atol=1e-6)
    # 8-bit frames are drawn in 8-bit worlds: compare them with each other.
    straight8 = doc.render(0, scale=0.25).astype(np.float64)
    premultiplied8 = doc.render(0, alpha="premultiplied", scale=0.25)
    assert np.array_equal(premultiplied8[..., 3], straight8[..., 3])
    expected = np.rint(straight8[..., :3] * straight8[..., 3:] / 255)
    assert np.abs(premultiplied8[..., :3] - expected).max() <= 1


def test_the_array_owns_the_frame_without_a_second_copy():
    frame = tavrin.load(str(NETWORK)).render(0, scale=0.25)
    # A view of the module's buffer, kept alive by the array: no copy into NumPy's own.
    assert not frame.flags["OWNDATA"] and frame.base is not None
    frame[0, 0] = (1, 2, 3, 4)


def test_setting_a_value_changes_the_frame_as_the_document_edit_would(tmp_path):
    doc = tavrin.load(str(NETWORK))
    before = doc.render(0, scale=0.25)
    doc.set("Network", LINES, "Maximum Distance", 120)
    assert doc.get("Network", LINES, "Maximum Distance") == 120
    edited = json.loads(NETWORK.read_text())
    edited["comps"][0]["layers"][0]["effects"][3]["params"]["Maximum Distance"] = 120
    file = tmp_path / "edited.json"
    file.write_text(json.dumps(edited))
    after = doc.render(0, scale=0.25)
    assert np.array_equal(after, rendered(file, 0, tmp_path))
    assert not np.array_equal(after, before)


def test_keys_animate_a_value_as_the_document_edit_would(tmp_path):
    doc = tavrin.load(str(NETWORK))
    keys = [{"t": 0, "v": 20}, {"t": 1, "v": 140}]
    doc.set_keys("Network", LINES, "Maximum Distance", keys)
    assert doc.keys("Network", LINES, "Maximum Distance") == keys
    assert doc.keys("Network", LINES, "Line Thickness") == []
    edited = json.loads(NETWORK.read_text())
    edited["comps"][0]["layers"][0]["effects"][3]["params"]["Maximum Distance"] = {"keys": keys}
    file = tmp_path / "keys.json"
    file.write_text(json.dumps(edited))
    assert np.array_equal(doc.render(15, scale=0.25), rendered(file, 15, tmp_path))


def test_listing_comps_layers_effects_and_parameter_tables():
    doc = tavrin.load(str(NETWORK))
    assert [c["name"] for c in doc.comps()] == ["Network"]
    assert doc.comps()[0]["frames"] == 60
    layers = doc.layers()
    assert layers[0]["name"] == "Network"
    assert layers[0]["effects"] == ["Tavrin", "Tavrin Primitives Object",
                                    "Tavrin Points Renderer", LINES]
    rows = {r["key"]: r for r in doc.params("Network", "Tavrin Primitives Object")}
    assert rows["Primitive Type"]["value"] == "Sphere"
    assert "Sphere" in rows["Primitive Type"]["entries"]
    assert rows["Sphere Radius"]["value"] == 260
    assert rows["Sphere Radius"]["kind"] in ("float", "fixed", "int")
    assert {e["name"] for e in tavrin.effects()} >= {"Tavrin", LINES}
    table = tavrin.effect_params(LINES)
    assert any(r["name"] == "Maximum Distance" for r in table)
    default = next(r for r in table if r["name"] == "Line Thickness")["default"]
    assert doc.get("Network", LINES, "Maximum Distance") == 70
    assert doc.get("Network", "Tavrin Points Renderer", "Points Size") == 2
    assert doc.get("Network", LINES, "Line Thickness") == 0.6
    assert doc.get("Network", "Tavrin", "Render Quality") is not None
    assert default is not None
    # Each parameter says what it does, and sizes say their unit, as `tavrin effects` does.
    distance = next(r for r in table if r["name"] == "Maximum Distance")
    assert distance["description"]
    assert all(r["description"] for r in table if r["kind"] not in ("group", "end"))
    assert all(e["purpose"] for e in tavrin.effects())


def test_geometry_arrays_equal_tavrin_geometry():
    doc = tavrin.load(str(NETWORK))
    geometry = doc.geometry("Network", 0)
    written = json.loads(run([TAVRIN, "geometry", str(NETWORK), "--layer", "Network", "--frame",
                              "0"]))
    for name in ("positions", "colors", "uvw", "lattice", "blurs", "scales", "normals", "faces",
                 "faceCentroids", "faceColorsA", "faceColorsB", "faceColorsC", "faceRotations",
                 "jitter"):
        expected = np.array(written[name], dtype=geometry[name].dtype)
        expected = expected.reshape(geometry[name].shape) if expected.size == 0 else expected
        assert np.array_equal(geometry[name], expected, equal_nan=True), name
    assert len(geometry["positions"]) > 1000
    assert geometry["ranges"][0]["vertexCount"] == written["ranges"][0]["vertexCount"]


def test_bad_arguments_raise_clear_errors(tmp_path):
    doc = tavrin.load(str(NETWORK))
    with pytest.raises(ValueError, match='no comp named "Netwrok".*did you mean "Network"'):
        doc.render(0, comp="Netwrok")
    with pytest.raises(ValueError, match='no layer named "Netwrk"'):
        doc.geometry("Netwrk")
    with pytest.raises(KeyError, match='no parameter "Maximum Distanse".*Maximum Distance'):
        doc.set("Network", LINES, "Maximum Distanse", 1)
    with pytest.raises(ValueError, match="frame 60 is outside"):
        doc.render(60)
    with pytest.raises(ValueError, match='dtype "int16"'):
        doc.render(0, dtype="int16")
    with pytest.raises(ValueError, match="scale 2"):
        doc.render(0, scale=2)
    # A value the loader refuses: the error carries the JSON path, the document stays as it was.
    with pytest.raises(tavrin.DocumentError) as error:
        doc.set("Network", "Tavrin Primitives Object", "Primitive Type", "Cube of doom")
    assert error.value.json_path.startswith("$.comps[0].layers[0].effects[1].params")
    assert "Primitive Type" in error.value.json_path
    assert error.value.file == str(NETWORK)
    assert doc.get("Network", "Tavrin Primitives Object", "Primitive Type") == "Sphere"
    with pytest.raises(tavrin.DocumentError) as error:
        tavrin.load(str(tmp_path / "missing.json"))
    assert error.value.file.endswith("missing.json")
    with pytest.raises(tavrin.DocumentError) as error:
        tavrin.loads('{"tavrin": 1, "comps": [{"name": "A", "layres": []}]}', file="t.json")
    assert error.value.json_path == "$.comps[0].layres" and "layers" in error.value.message


def test_two_threads_render_the_same_frames():
    doc = tavrin.load(str(EXAMPLES / "orbit.json"))
    frames = range(0, 12, 2)
    alone = {n: doc.render(n, scale=0.25) for n in frames}
    together = {}

    def work(chosen):
        for n in chosen:
            together[n] = doc.render(n, scale=0.25)

    threads = [threading.Thread(target=work, args=(list(frames)[k::2],)) for k in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert sorted(together) == list(frames)
    for n in frames:
        assert np.array_equal(together[n], alone[n]), n


def test_files_svg_save_and_warnings(tmp_path):
    doc = tavrin.load(str(NETWORK))
    doc.render_file(str(tmp_path / "frame.png"), 0, scale=0.25)
    assert np.array_equal(png_rgba(tmp_path / "frame.png"), doc.render(0, scale=0.25))
    svg = doc.export_svg(frame=0)
    assert "<svg" in svg and "</svg>" in svg
    doc.export_svg(str(tmp_path / "frame.svg"))
    assert (tmp_path / "frame.svg").read_text() == svg
    doc.save(str(tmp_path / "saved.json"))
    assert np.array_equal(tavrin.load(str(tmp_path / "saved.json")).render(0, scale=0.25),
                          doc.render(0, scale=0.25))
    inert = json.loads(NETWORK.read_text())
    inert["comps"][0]["layers"][0]["motionBlur"] = True
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        tavrin.loads(json.dumps(inert), file=str(tmp_path / "inert.json"))
    assert any(issubclass(w.category, tavrin.TavrinWarning) and "motion-blur" in str(w.message)
               for w in caught)
