"""The table of one file system, with what is to be reached beside each ratio."""
from contenders import CHANGED_RATING, FIRST_RATING, FIRST_TAGS, MORE_TAGS

FIRST_BESIDE_EXIV2 = {("ext4", "100 KB"): 1, ("ext4", "8 MB"): 1, ("btrfs", "100 KB"): 1, ("btrfs", "8 MB"): 5}
FIRST_BESIDE_EXIFTOOL = {"100 KB": 3, "8 MB": 1.5}
FIRST_BESIDE_LIMIT = {"100 KB": 1.4, "8 MB": 1.25}
CHANGED_RATING_BESIDE_EXIV2 = {"100 KB": 4, "8 MB": 30}
CHANGED_RATING_BESIDE_LIMIT = 8
CHANGED_TAGS_BESIDE_THEIR_WAYS = 1.25

CONTENDERS = ("program", "exiv2", "exiftool", "raw limit")
LINE = "{:<20} {:>15} {:>7} {:>7} {:>8} {:>9}  {:<18} {:<18} {:<20} {:>8} {:>9}"


class change_table:

    def __init__(self, results, place):
        self.results, self.place = results, place
        print(f"Photos on {place.name} ({place.details}): files a second\n")
        print(LINE.format("work", "photos", *CONTENDERS, "beside exiv2", "exiftool", "the raw limit", "in place",
                          "KB a file"))

    def faster(self, work, whom, ratio, at_least):
        """A cell: times as fast as the contender. Without a target the ratio is stated, not demanded."""
        if at_least is None:
            return f"{ratio:.1f}x"
        return self.results.judge(f"{self.place.name}: {work}, beside {whom}", f"{ratio:.1f}x", f">= {at_least:g}",
                                  ratio >= at_least)

    def slower(self, work, whom, ratio, at_most):
        """A cell: times the time of the yardstick."""
        if at_most is None:
            return f"{ratio:.2f}x"
        return self.results.judge(f"{self.place.name}: {work}, beside {whom}", f"{ratio:.2f}x", f"<= {at_most:g}",
                                  ratio <= at_most)

    def targets(self, step, size):
        """Beside exiv2, exiftool and the raw limit."""
        if step.is_first:
            exiv2 = FIRST_BESIDE_EXIV2.get((self.place.kind, size))
            return exiv2, FIRST_BESIDE_EXIFTOOL[size], FIRST_BESIDE_LIMIT[size]
        return CHANGED_RATING_BESIDE_EXIV2[size] if step is CHANGED_RATING else None, None, None

    def add_row(self, step, samples, found):
        work = f"{step.name}, {samples}"
        seconds = {name: found.seconds(name, step) for name in CONTENDERS}
        program = seconds["program"]
        exiv2, exiftool, limit = self.targets(step, samples.size)
        print(LINE.format(
            step.name, f"{samples.count:,} of {samples.size}",
            *(f"{samples.count / value:.0f}" for value in seconds.values()),
            self.faster(work, "exiv2", seconds["exiv2"] / program, exiv2),
            self.faster(work, "exiftool", seconds["exiftool"] / program, exiftool),
            self.slower(work, "the raw limit", program / seconds["raw limit"], limit),
            f"{found.in_place[step]:.0%}", self.kilobytes(found.written("program", step), samples.count)))

    @staticmethod
    def kilobytes(written, count):
        return f"{written / count / 1000:.1f}" if written >= 0 else "unknown"

    def add_mean_of_patches(self, all_found):
        ratios = [found.seconds("program", CHANGED_RATING) / found.seconds("raw limit", CHANGED_RATING)
                  for found in all_found]
        cell = self.slower("changed rating, mean of both sizes", "2 KB written in place", sum(ratios) / len(ratios),
                           CHANGED_RATING_BESIDE_LIMIT)
        print(f"changed rating, mean of both sizes: {cell} the time of writing 2 KB in place")

    def add_changed_tags(self, samples, found):
        """Beside what the ways that the photos took cost otherwise: a changed rating in place, first tags in a new
        file."""
        for step in MORE_TAGS:
            share = found.in_place[step]
            of_ways = (share * found.seconds("program", CHANGED_RATING) +
                       (1 - share) * found.seconds("program", FIRST_TAGS))
            work = f"{step.name}, {samples}"
            most = self.results.judge(f"{self.place.name}: {work}, in place", f"{share:.0%}", "most", share > 0.5)
            cell = self.slower(work, "the same ways", found.seconds("program", step) / of_ways,
                               CHANGED_TAGS_BESIDE_THEIR_WAYS)
            print(f"{work}: {most} in place; {cell} the time of as many changed ratings, and first tags for the rest")

    def add_sync(self, samples, found, syncs):
        program, limit = (found.seconds(name, FIRST_RATING) / samples.count * 1000 for name in ("program", "raw limit"))
        words = f"first rating, {samples}: {program:.3f} ms for each photo, raw limit {limit:.3f} ms"
        if syncs:
            unsynced = found.seconds("unsynced", FIRST_RATING) / samples.count * 1000
            words += f", of which the sync before the rename takes {limit - unsynced:.3f} ms"
        else:
            words += "; nothing is synced"
        print(words)
