"""What a photo with two names costs: its change goes through a synced journal."""
import os
import shutil

import contenders
from measuring import measurement, median, progress
from samples import fresh_copy

PHOTOS = 200


def second_names(paths, folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    for path in paths:
        os.link(path, folder / path.name)
    os.sync()


def bench(options, place, samples):
    photos = samples.first(PHOTOS)
    runs = {(name, count): [] for name in ("program", "exiv2") for count in (1, 2)}
    for number in range(options.rounds):
        progress(f"{place.name}, photos with two names: round {number + 1} of {options.rounds}")
        for name, count in runs:
            paths = fresh_copy(photos, place.folder)
            if count == 2:
                second_names(paths, place.folder / "second names")
            command = getattr(contenders, name)
            runs[name, count].append(measurement(command(options, contenders.FIRST_RATING, paths)))
            os.sync()
    cost = {key: f"{median(found) / photos.count * 1000:.3f} ms" for key, found in runs.items()}
    print(f"first rating, {photos}, two names each: {cost['program', 2]} for each photo, with one name "
          f"{cost['program', 1]}; exiv2 {cost['exiv2', 2]} and {cost['exiv2', 1]}\n", flush=True)
