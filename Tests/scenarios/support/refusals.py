"""What must be seen when an item fails for a reason of the system's: the words for it, to the user and in the log, and
nothing changed."""
import os

from support import texts

SHARING_VIOLATION = ("The process cannot access the file because it is being used by another process.",)
DISK_FULL = ("There is not enough space on the disk.", "There is insufficient disk space to complete operation.")
OVER_QUOTA = (*DISK_FULL, "Not enough quota is available to process this command.",
              "The requested file operation failed because the storage quota was exceeded. To free up disk space, move "
              "files to a different location or delete unnecessary files. For more information, contact your system "
              "administrator.")
READ_ONLY = ("The media is write protected.", "Disk is write-protected.")
BROKEN_DISK = ("A device attached to the system is not functioning.", "The device is not ready.",
               "The system cannot read from the specified device.", "The system cannot write to the specified device.",
               "A disk error occurred during a read operation.", "A disk error occurred during a write operation.",
               "The request could not be performed because of an I/O device error.")
TOO_LARGE = ("The file size exceeds the limit allowed and cannot be saved.",)

OPEN_FAILURE = "Failed to write new metadata. Error provided by Windows: "


def state_of(path):
    """All of a file that a refusal leaves as it was, and the names beside it."""
    status = os.stat(path)
    attributes = []
    for name in os.listxattr(path):
        attributes.append((name, os.getxattr(path, name)))
    return path.read_bytes(), attributes, status.st_mtime_ns, status.st_ino, sorted(os.listdir(path.parent))


def details_of(log, path):
    """The message of each failure of the item that the log has."""
    head = f"Error processing {path} Details: "
    return [message[len(head):] for level, message in log if level == "ERROR" and message.startswith(head)]


def names_reason(details, reasons):
    """Whether a message names the reason: in the place that the text has for it, or on a line of its own."""
    return any(details.startswith(OPEN_FAILURE + reason) or f": {reason}" in details or reason in details.splitlines()
               for reason in reasons)


def assert_told(test, path, outcome, reasons):
    test.assertEqual(outcome.exit_code, 0, outcome.standard_error)
    test.assertIn("Error processing\n" + texts.shortened(str(path), 45), outcome.standard_error)
    details = details_of(test.log(), path)
    test.assertTrue(details, f"the log has no failure of {path}: {test.log()}")
    test.assertTrue(names_reason(details[-1], reasons), f"logged without the reason: {details[-1]!r}")
    test.assertTrue(any(reason in outcome.standard_error for reason in reasons), outcome.standard_error)


def assert_refused(test, path, before, outcome, reasons):
    """The item failed for one of the reasons, and the file is as in the state `before`."""
    assert_told(test, path, outcome, reasons)
    test.assertEqual(state_of(path)[1:], before[1:])
    test.assertTrue(state_of(path)[0] == before[0], f"{path.name} has other bytes")
