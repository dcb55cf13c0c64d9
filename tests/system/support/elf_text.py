"""What readelf says about a binary."""

import subprocess


def readelf(option, binary):
    return subprocess.run(["readelf", option, "-W", binary], check=True, capture_output=True, text=True).stdout


def functions(binary):
    """Address of every function by name; names that stand for several addresses are left out."""
    found, ambiguous = {}, set()
    for line in readelf("-s", binary).splitlines():
        words = line.split()
        if len(words) == 8 and words[3] == "FUNC" and words[6] != "UND":
            name, address = words[7], int(words[1], 16)
            if found.setdefault(name, address) != address:
                ambiguous.add(name)
    return {name: address for name, address in found.items() if name not in ambiguous}


def function_ranges(binary):
    """(start, end) of the functions whose symbols tell a size, by address."""
    found = set()
    for line in readelf("-s", binary).splitlines():
        words = line.split()
        if len(words) >= 8 and words[3] in ("FUNC", "IFUNC") and words[6] != "UND" and int(words[2], 0):
            found.add((int(words[1], 16), int(words[1], 16) + int(words[2], 0)))
    return sorted(found)


def loads(binary):
    """(offset in the file, address, size in the file) of what is loaded."""
    for line in readelf("-l", binary).splitlines():
        words = line.split()
        if words and words[0] == "LOAD":
            yield int(words[1], 16), int(words[2], 16), int(words[4], 16)


def file_offset(binary, address):
    """Byte of the file that is loaded at an address."""
    for offset, start, size in loads(binary):
        if start <= address < start + size:
            return offset + address - start
    raise ValueError(f"{binary}: nothing is loaded at {address:#x}")
