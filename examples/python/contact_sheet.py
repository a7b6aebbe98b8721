"""A parameter sweep as a contact sheet: the bundled network drawn with six values of the lines
renderer's "Maximum Distance", laid out three by two in one PNG.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/contact_sheet.py sheet.png
"""
import pathlib
import sys

import numpy as np

import tavrin

EXAMPLES = pathlib.Path(__file__).resolve().parents[1]
DISTANCES = [20, 45, 70, 95, 120, 145]
COLUMNS = 3
GAP = 4  # pixels of the comp's background colour between the tiles


def sheet(document, distances, scale=0.25):
    tiles = []
    for distance in distances:
        document.set("Network", "Tavrin Lines Renderer", "Maximum Distance", distance)
        tiles.append(document.render(0, scale=scale))
    height, width, _ = tiles[0].shape
    rows = -(-len(tiles) // COLUMNS)
    background = (5, 5, 13, 255)  # the document's "#05050d"
    out = np.empty((rows * height + (rows + 1) * GAP, COLUMNS * width + (COLUMNS + 1) * GAP, 4),
                   np.uint8)
    out[:] = background
    for i, tile in enumerate(tiles):
        y = GAP + (i // COLUMNS) * (height + GAP)
        x = GAP + (i % COLUMNS) * (width + GAP)
        # Each frame is transparent where nothing is drawn: lay it over the background.
        alpha = tile[..., 3:4].astype(np.float32) / 255
        under = out[y:y + height, x:x + width, :3].astype(np.float32)
        out[y:y + height, x:x + width, :3] = np.rint(tile[..., :3] * alpha + under * (1 - alpha))
    return out


if __name__ == "__main__":
    target = sys.argv[1] if len(sys.argv) > 1 else "contact-sheet.png"
    document = tavrin.load(str(EXAMPLES / "network.json"))
    tavrin.write_image(target, sheet(document, DISTANCES))
    print(f"wrote {target}: Maximum Distance {DISTANCES}")
