"""Organizing folders, the geo look-up, and reading people regions."""
import os
import shutil
import subprocess

from measuring import ROOT, WORK, job, measurement, median, progress

EXTENSIONS = ("jpg", "txt", "mp3", "zip")
GEOCODERS = ("city-reverse-geocoder", "offline-geocode-city")


def make_files(count):
    """Empty files of four types in a folder of their own."""
    folder = WORK / "sorted"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    for number in range(count):
        (folder / f"file {number:06}.{EXTENSIONS[number % 4]}").touch()
    os.sync()
    return folder


def bench_by_type(options, results):
    print("Sorting a folder by type, and undoing it: seconds (median of the rounds)\n")
    columns = "{:>8} {:>12} {:>14} {:>12} {:>14}"
    print(columns.format("files", "program", "bare renames", "undo", "bare renames"))
    bare = str(options.tools / "bare_renames")
    cost = {}
    for count in (10_000, 100_000):
        folder = make_files(count)
        commands = {"sort": lambda: job(options.executable, "organize_folder", "by_type", [folder]),
                    "undo": lambda: job(options.executable, "organize_undo", "", [folder]),
                    "bare sort": lambda: [bare, str(folder)],
                    "bare undo": lambda: [bare, "--undo", str(folder)]}
        found = {name: [] for name in commands}
        for number in range(options.rounds):
            progress(f"{count} files by type: round {number + 1} of {options.rounds}")
            for name, command in commands.items():
                found[name].append(measurement(command()))
                os.sync()
        seconds = {name: median(found[name]) for name in commands}
        print(columns.format(count, *(f"{seconds[name]:.3f}" for name in ("sort", "bare sort", "undo", "bare undo"))))
        for name in ("sort", "undo"):
            cost[name, count] = seconds[name] / count
            ratio = seconds[name] / seconds["bare " + name]
            results.add(f"{name} {count:,} files by type", "at most 2 times bare renames", f"{ratio:.2f} times",
                        ratio <= 2)
    for name in ("sort", "undo"):
        growth = cost[name, 100_000] / cost[name, 10_000]
        results.add(f"{name}: a file's cost at 100,000", "at most 1.3 times that at 10,000", f"{growth:.2f} times",
                    growth <= 1.3)
    print()


def bench_slow_sorting(options, results, samples):
    """Beside what takes a process or a parser for each file, on the same photos."""
    folder = WORK / "photos"
    count = samples.count
    mv = f"mkdir '{folder}/Images' && for file in '{folder}'/*.jpg; do mv \"$file\" '{folder}/Images'; done"
    commands = {"sort": lambda: job(options.executable, "organize_folder", "by_type", [folder]),
                "undo": lambda: job(options.executable, "organize_undo", "", [folder]),
                "exiftool by date": lambda: ["exiftool", "-q", "-d", f"{folder}/%Y-%m-%d",
                                             "-Directory<DateTimeOriginal", str(folder)],
                "mv for each file": lambda: ["sh", "-c", mv]}
    found = {name: [] for name in commands}
    for number in range(options.rounds):
        progress(f"{count} photos by type, exiftool and mv: round {number + 1} of {options.rounds}")
        for name, command in commands.items():
            if name != "undo":
                fresh_folder(samples, folder)
            found[name].append(measurement(command()))
    shutil.rmtree(folder)
    seconds = {name: median(runs) for name, runs in found.items()}
    print(f"{count} photos: " + ", ".join(f"{name} {seconds[name]:.3f} s" for name in commands) + "\n")
    for name in ("sort", "undo"):
        for rival, wanted in (("exiftool by date", 100), ("mv for each file", 20)):
            results.add_ratio(f"{name} {count:,} photos by type", rival, wanted, seconds[rival] / seconds[name])


def fresh_folder(samples, folder):
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(samples.folder, folder)
    os.sync()


def bench_photos(options, results, samples):
    count = samples.count
    runs, rivals = [], []
    for number in range(options.rounds):
        progress(f"{count} photos by their patterns: round {number + 1} of {options.rounds}")
        for found, command in ((runs, lambda folder: job(options.executable, "organize_folder", "photos_pattern",
                                                         [folder])),
                               (rivals, lambda folder: ["exiftool", "-q", "-d", f"{folder}/%Y-%m-%d/%Y-%m-%d %%f.%%e",
                                                        "-filename<DateTimeOriginal", str(folder)])):
            folder = WORK / "photos"
            fresh_folder(samples, folder)
            found.append(measurement(command(folder)))
    shutil.rmtree(WORK / "photos")
    seconds, rival = median(runs), median(rivals)
    print(f"{count} photos renamed and placed: program {count / seconds:.0f} a second (with places and people), "
          f"exiftool {count / rival:.0f} (by date alone)\n")
    results.add_ratio(f"photos_pattern on {count:,} photos", "exiftool", 10, rival / seconds)


def bench_look_up(options, results):
    progress("geo look-up")
    tool = str(options.tools / "geo_lookup")
    points = WORK / "points"
    points.write_bytes(subprocess.run([tool, "points", "10000"], stdout=subprocess.PIPE, check=True).stdout)
    runs = [measurement([tool, "time", str(points)]) for _ in range(options.rounds)]
    loading, one = map(float, subprocess.run([tool, "time", str(points)], stdout=subprocess.PIPE, text=True,
                                             check=True).stdout.split())
    peak = median(runs, "peak") / 1e6
    print(f"Geo data: loaded in {loading:.1f} ms, peak memory of the process {peak:.1f} MB, {one:.2f} us for a look-up")
    results.add_limit("one reverse look-up on land", 100, one, "us")
    results.add_limit("loading both geo files", 60, loading, "ms")
    results.add_limit("loading both geo files, peak memory", 40, peak, "MB")
    for name in GEOCODERS:
        ran = subprocess.run(["node", str(ROOT / "Benchmarks" / "geocoders" / "run.js"), name, str(points)],
                             stdout=subprocess.PIPE, text=True)
        if ran.returncode != 0:
            results.add(f"one look-up, beside {name}", "ahead", "it does not run here", False)
            continue
        rival, failed = float(ran.stdout.split()[0]), int(ran.stdout.split()[1])
        print(f"{name}: {rival:.2f} us for a look-up; {failed} of the 10,000 points end in an exception")
        results.add(f"one look-up, beside {name}", "ahead", f"{rival / one:.1f} times as fast", rival > one)
    print("local-reverse-geocoder comes without data and fetches them from a server at its start: not measured\n")


def bench_regions(options, results, samples):
    progress("people regions")
    picture = WORK / "regions.jpg"
    shutil.copy(samples.paths()[0], picture)
    subprocess.run(["exiftool", "-q", "-overwrite_original",
                    "-RegionInfoMP={Regions=[{PersonDisplayName=Anna,Rectangle=0.1|, 0.1|, 0.2|, 0.2}]}", str(picture)],
                   check=True)
    regions, reading = map(float, subprocess.run([str(options.tools / "region_reading"), str(picture), "21"],
                                                 stdout=subprocess.PIPE, text=True, check=True).stdout.split())
    print(f"People regions of an 8 MB picture: {regions:.2f} ms, reading it {reading:.2f} ms\n")
    results.add("people regions of an 8 MB JPEG", "at most 2 times reading it", f"{regions / reading:.2f} times",
                regions <= 2 * reading)


def bench(options, results, small, large):
    bench_by_type(options, results)
    bench_slow_sorting(options, results, small)
    bench_photos(options, results, small)
    bench_look_up(options, results)
    bench_regions(options, results, large)
