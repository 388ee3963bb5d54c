"""A folder that others can write to, with links and files of theirs planted under every name that the program uses
there: nothing is followed, nothing overwritten, and nothing of theirs taken for ours.

The names are learnt from runs of the program itself, by what comes up in the folder meanwhile.
"""
import os
import shutil
import stat
import subprocess

from support import pictures, refused_calls, watched_folder
from support.scenario import NO_METADATA_UNDER_WINE, scenario

SOMEBODY_ELSE = 54321
SECONDS = 60  # a run that waits for a planted pipe takes longer
JOBS = (("set_rating", "4"), ("set_rating", "2"), ("update_tags", "+beach"), ("remove_rating", ""))


def look_at(path):
    """All that can be seen of a file or folder but the times of access; nothing where there is none."""
    if not os.path.lexists(path):
        return None
    status = os.lstat(path)
    content = None
    if stat.S_ISLNK(status.st_mode):
        content = os.readlink(path)
    elif stat.S_ISREG(status.st_mode):
        content = path.read_bytes(), [(name, os.getxattr(path, name)) for name in os.listxattr(path)]
    elif stat.S_ISDIR(status.st_mode):
        content = sorted(os.listdir(path))
    return status.st_mode, status.st_uid, status.st_ino, status.st_mtime_ns, content


class planted_files(scenario):
    def setUp(self):
        super().setUp()
        self.only_on("host", NO_METADATA_UNDER_WINE)
        if os.getuid() != 0:
            self.skipTest("only root can plant files of somebody else's")
        self.elsewhere = self.folder / "elsewhere"
        self.victim, self.not_there = self.elsewhere / "victim", self.elsewhere / "made by following a link"
        self.work = self.folder / "work"
        self.work.mkdir()
        os.chmod(self.work, 0o777)

    # What is planted, each at a path of the folder.

    def link_to_a_file(self, path):
        path.symlink_to(self.victim)

    def link_to_nothing(self, path):
        path.symlink_to(self.not_there)

    def pipe(self, path):
        os.mkfifo(path, 0o666)

    def filled_folder(self, path):
        path.mkdir()
        (path / "a file").write_text("text")

    def file_of_theirs(self, path):
        path.write_text("a text of theirs")
        os.chmod(path, 0o666)

    def second_name_of_a_file(self, path):
        os.link(self.victim, path)

    LINKS = (link_to_a_file, link_to_nothing, pipe, filled_folder)
    ALL = (*LINKS, file_of_theirs, second_name_of_a_file)

    def make_photo(self, name):
        path = self.work / name
        if name.endswith(".mp3"):
            return pictures.sound(path, "-id3v2_version", "3", "-metadata", "title=A title")
        if name.endswith(".mp4"):
            return pictures.video(path)
        return pictures.camera_photo(path) if name.startswith("camera") else pictures.picture(path)

    def learn(self, path, **options):
        """The names that come up beside a file during runs over it, with the inode that the file had then. The file is
        as before afterwards, but for its inode."""
        found = set()
        old = path.read_bytes()
        for job in JOBS:
            inode = os.stat(path).st_ino
            with watched_folder.watched_folder(self.work) as watch:
                self.assertEqual(self.run_job(*job, [path], **options).standard_error, "")
            found |= {(name, inode) for name in watch.names - {path.name}}
        path.write_bytes(old)
        for attribute in os.listxattr(path):
            os.removexattr(path, attribute)
        return found

    def names_for(self, path, learnt):
        """The names learnt for a file as they are for the inode that it has now."""
        inode = os.stat(path).st_ino
        return {name.replace(f"{old:016x}", f"{inode:016x}").replace(str(old), str(inode)) for name, old in learnt}

    def plant(self, names, kind):
        """The looks of all that must stay as it is."""
        shutil.rmtree(self.elsewhere, ignore_errors=True)
        self.elsewhere.mkdir()
        self.victim.write_text("a text of somebody else's")
        os.chown(self.victim, SOMEBODY_ELSE, SOMEBODY_ELSE)
        for name in names:
            path = self.work / name
            kind(self, path)
            os.chown(path, SOMEBODY_ELSE, SOMEBODY_ELSE, follow_symlinks=False)
        return {path: look_at(path) for path in (self.victim, self.not_there, *(self.work / name for name in names))}

    @staticmethod
    def changes(before):
        """What became of planted files, in words."""
        found = []
        for path, look in before.items():
            now = look_at(path)
            if now != look:
                found.append(f"{path.name} was {'removed' if not now else 'changed' if look else 'made'}")
        return found

    def remove(self, names):
        for name in names:
            path = self.work / name
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path)
            elif os.path.lexists(path):
                path.unlink()

    def check(self, item, names, kinds, jobs=JOBS):
        """Plants each kind under all the names, and runs each job. The item is changed or the user told why not."""
        problems = []
        for kind in kinds:
            for job in jobs:
                before = self.plant(names, kind)
                outcome = self.run_job(*job, [item], seconds=SECONDS)
                problems += [f"{kind.__name__}, {job[0]}: {change}" for change in self.changes(before)]
                if not self.was_done(item, job) and "Error processing\n" not in outcome.standard_error:
                    problems.append(f"{kind.__name__}, {job[0]}: neither done nor told")
                self.remove(names)
        self.assertFalse(problems, "\n" + "\n".join(problems))

    @staticmethod
    def was_done(item, job):
        """Ratings of photos can be looked for; what became of the others isn't asked here."""
        if job[0] != "set_rating" or item.suffix not in (".jpg", ".png"):
            return True
        read = subprocess.run(["exiftool", "-s3", "-n", "-XMP-xmp:Rating", item], check=True, stdout=subprocess.PIPE,
                              text=True)
        return read.stdout.strip() == job[1]

    def check_hidden_names(self, name, link=False):
        path = self.make_photo(name)
        if link:
            os.link(path, self.folder / "second name")
        learnt = self.learn(path)
        if refused_calls.can_refuse():
            learnt |= self.learn(path, prepare=refused_calls.refuse_unnamed_files)
        names = self.names_for(path, learnt)
        self.assertTrue(names, "no name was learnt")
        self.check(path, names, self.ALL)

    def test_a_photo(self):
        self.check_hidden_names("camera.jpg")

    def test_a_png(self):
        self.check_hidden_names("picture.png")

    def test_a_hard_linked_photo(self):
        self.check_hidden_names("camera.jpg", link=True)

    def test_a_hard_linked_mp3(self):
        self.check_hidden_names("sound.mp3", link=True)

    def test_the_sidecar(self):
        """A file of theirs under this name is a sidecar, which is changed."""
        if subprocess.run(["mount", "-t", "ramfs", "none", str(self.work)], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("this machine mounts no file system without extended attributes")
        self.addCleanup(subprocess.run, ["umount", str(self.work)], check=True)
        os.chmod(self.work, 0o777)
        film = self.make_photo("film.mp4")
        names = {name for name, _ in self.learn(film)}
        self.assertIn("film.mp4.xmp", names)
        self.remove(names)
        self.check(film, names, self.LINKS)

    def test_the_file_of_a_folder_s_values(self):
        folder = self.work / "folder"
        folder.mkdir()
        with watched_folder.watched_folder(folder) as watch:
            self.run_job("set_rating", "4", [folder])
        self.assertIn("desktop.ini", watch.names)
        self.remove({f"folder/{name}" for name in watch.names})
        self.check(folder, {f"folder/{name}" for name in watch.names}, self.LINKS, (("set_rating", "2"),))
