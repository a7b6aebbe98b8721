# The worked example of docs/python.md runs as written and makes the sheet it promises.
import os
import pathlib
import subprocess
import sys

import numpy as np

import tavrin

SOURCE = pathlib.Path(os.environ["TAVRIN_SOURCE_DIR"])


def test_the_contact_sheet_example_writes_six_different_tiles(tmp_path):
    target = tmp_path / "sheet.png"
    done = subprocess.run([sys.executable, str(SOURCE / "examples/python/contact_sheet.py"),
                           str(target)], capture_output=True, text=True, timeout=600)
    assert done.returncode == 0, done.stderr
    assert "wrote" in done.stdout
    out = subprocess.run(["ffmpeg", "-v", "error", "-i", str(target), "-f", "rawvideo",
                          "-pix_fmt", "rgba", "-"], capture_output=True, check=True).stdout
    sheet = np.frombuffer(out, np.uint8).reshape(2 * 180 + 3 * 4, 3 * 320 + 4 * 4, 4)
    tiles = [sheet[4 + r * 184:4 + r * 184 + 180, 4 + c * 324:4 + c * 324 + 320]
             for r in range(2) for c in range(3)]
    # More distance, more lines: each tile brighter than the one before.
    brightness = [float(t[..., :3].mean()) for t in tiles]
    assert brightness == sorted(brightness) and brightness[0] < brightness[-1], brightness
    # The first tile is the document's frame at that distance over the background.
    doc = tavrin.load(str(SOURCE / "examples/network.json"))
    doc.set("Network", "Tavrin Lines Renderer", "Maximum Distance", 20)
    frame = doc.render(0, scale=0.25).astype(np.float32)
    alpha = frame[..., 3:4] / 255
    expected = np.rint(frame[..., :3] * alpha + np.array([5, 5, 13]) * (1 - alpha))
    assert np.abs(tiles[0][..., :3].astype(int) - expected).max() <= 1
