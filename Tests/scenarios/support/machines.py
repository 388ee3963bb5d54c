"""The machines that the whole executable is tested on: how it is started there, how it names paths, where it keeps
data.

A run gets local application data of its own, so that no test sees another one's log or settings.
"""
import dataclasses
import os
import pathlib
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[3]
FAMILY = pathlib.Path("Larkspur Forge LLC", "Tessel Works Kit")
SECONDS_FOR_ONE_RUN = 120


@dataclasses.dataclass
class outcome:
    """What a run left: exit code, and what it wrote on its two streams."""
    exit_code: int
    standard_output: str
    standard_error: str


class machine:
    """What both machines share. `data` is the local application data folder of the program."""

    def __init__(self, executable):
        self.executable = pathlib.Path(executable).resolve()
        self.data = None

    @property
    def logs(self):
        return self.data / FAMILY / "Quill Box" / "Processor" / "Logs"

    @property
    def settings(self):
        return self.data / FAMILY / "High Level Settings" / "Settings.json"

    @property
    def default_settings(self):
        return self.executable.parent / "Content" / "Configurations" / "Settings.json"

    def prepare(self, folder):
        """Gives the next runs local application data of their own, below `folder`."""
        self.data = folder / "data"
        self.data.mkdir()

    def run(self, *arguments, seconds=SECONDS_FOR_ONE_RUN, prepare=None, **changes):
        """Runs the program without a terminal and waits for it, and on the host for every process that holds its
        streams. `prepare` is called in the new process before the program starts; `changes` are of its environment."""
        ran = self.completed(self.command(*arguments), env=self.environment(**changes), stdin=subprocess.DEVNULL,
                             timeout=seconds, preexec_fn=prepare)
        return outcome(ran.returncode, self.text(ran.stdout), self.text(ran.stderr))

    @staticmethod
    def completed(command, **options):
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    @staticmethod
    def text(data):
        return data.decode("utf-8", "replace").replace("\r\n", "\n")


class host_machine(machine):
    """This machine."""
    name = "host"

    def command(self, *arguments):
        return [str(self.executable), *map(str, arguments)]

    def environment(self, **changes):
        kept = {name: os.environ[name] for name in ("PATH", "TERM", "ASAN_OPTIONS", "UBSAN_OPTIONS")
                if name in os.environ}
        return {**kept, "LANG": "C.UTF-8", "HOME": str(self.data), "XDG_DATA_HOME": str(self.data), **changes}

    def path(self, path):
        """The program's name of a file of this machine."""
        return str(path)


class windows_machine(machine):
    """Windows, as Wine has it: drive Z: is the root of this machine."""
    name = "windows"

    @staticmethod
    def completed(command, **options):
        """Waits for the program alone. Wine's desktop process comes with the first window, and holds the streams of the
        program that it came with for as long as any program runs: the end of a pipe can be minutes away."""
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as error:
            def written(stream):
                stream.seek(0)
                return stream.read()
            try:
                ran = subprocess.run(command, stdout=output, stderr=error, **options)
            except subprocess.TimeoutExpired as hanging:
                hanging.stderr = written(error)
                raise
            return subprocess.CompletedProcess(command, ran.returncode, written(output), written(error))

    def command(self, *arguments):
        return [str(ROOT / "scripts" / "wine_run"), str(self.executable), *map(str, arguments)]

    def environment(self, **changes):
        return {**os.environ, "BATCH_PROCESSOR_LOCAL_APP_DATA": self.path(self.data), **changes}

    def path(self, path):
        return "Z:" + str(path).replace("/", "\\")
