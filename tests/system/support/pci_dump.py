"""The text that `lspci -xxx` prints, for made-up PCI functions."""

import struct

BRIDGE, NETWORK, STORAGE, HOST, SYSTEM = 0x0604, 0x0200, 0x0108, 0x0600, 0x0880

_EXPRESS = 0x40


class Function:
    def __init__(self, address, vendor, device, kind):
        self.address = address
        self.space = bytearray(256)
        struct.pack_into("<HH", self.space, 0, vendor, device)
        struct.pack_into("<H", self.space, 0x0A, kind)

    def bridge(self, primary, secondary, subordinate):
        self.space[0x0E] = 1
        self.space[0x18:0x1B] = bytes((primary, secondary, subordinate))
        return self

    def link(self, speed, lanes, running_speed, running_lanes):
        """Speeds by their number in the registers of PCI Express: 1 is 2.5 GT/s, 2 is 5, 3 is 8, 4 is 16."""
        self.space[0x06] = 0x10
        self.space[0x34] = _EXPRESS
        self.space[_EXPRESS] = 0x10
        # Version 2; what the function is, a root port or an endpoint.
        struct.pack_into("<H", self.space, _EXPRESS + 2, 2 | (4 << 4 if self.space[0x0E] else 0))
        struct.pack_into("<I", self.space, _EXPRESS + 0x0C, speed | lanes << 4)
        struct.pack_into("<H", self.space, _EXPRESS + 0x12, running_speed | running_lanes << 4)
        return self

    def __str__(self):
        rows = (f"{at:02x}: " + " ".join(f"{byte:02x}" for byte in self.space[at:at + 16])
                for at in range(0, 256, 16))
        return f"{self.address} made up\n" + "\n".join(rows) + "\n"


def dump(functions):
    return "\n".join(map(str, functions)) + "\n"
