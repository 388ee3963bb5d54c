"""The texts that a person is shown, formed here anew from what they are to look like."""
ZERO_WIDTH_SPACE = "\u200b"


def shortened(path, name_limit):
    """A path as messages show it: a parent of over 25 characters and a name of over `name_limit` are cut in the
    middle, and a line may break in front of the name. The separator is Windows', but for a path of this machine."""
    if not path:
        return ""
    split = max(path.rfind("/"), path.rfind("\\"))
    parent, name = path[:max(split, 0)], path[split + 1:]
    if split == 0 or (split == 2 and path[1] == ":"):
        parent = path[:split + 1]
    if len(parent) > 25:
        parent = parent[:11] + "..." + parent[-11:]
    if len(name) > name_limit:
        dot = name.rfind(".")
        extension = name[dot:] if dot > 0 else ""
        stem = name[:len(name) - len(extension)]
        if len(extension) + 3 < name_limit:
            kept = name_limit - 3 - len(extension)
            name = stem[:kept // 2] + "..." + stem[len(stem) - (kept - kept // 2):] + extension
        else:
            name = name[:name_limit]
    separator = "/" if path.startswith("/") else "\\"
    return f"{parent}{ZERO_WIDTH_SPACE}{separator}{name}" if parent else name


def error_prompt(path, message):
    return f"Error processing\n{shortened(path, 45)}\n\n{message}"


def job_open_failure(path):
    return "Failed to open JSON file: " + shortened(path, 40)


UNEXPECTED_ACTION_PROMPT = "Unexpected action requested."
