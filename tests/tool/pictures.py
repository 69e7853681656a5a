"""Small picture files made from lists of numbers, and PNG files read back: standard library only.

Pixels are given as rows of pixels of components: rows[y][x][component].
"""
import struct
import zlib


# ----- PNM ----------------------------------------------------------------------------------------

def pnm(rows, largest, text=False, comment=""):
    components = len(rows[0][0])
    kind = {(1, True): 2, (3, True): 3, (1, False): 5, (3, False): 6}[components, text]
    head = f"P{kind}\n{comment}{len(rows[0])} {len(rows)}\n{largest}\n".encode()
    samples = [s for row in rows for pixel in row for s in pixel]
    if text:
        return head + " ".join(map(str, samples)).encode() + b"\n"
    return head + (bytes(samples) if largest < 256 else struct.pack(f">{len(samples)}H", *samples))


# ----- PNG ----------------------------------------------------------------------------------------

GREY, RGB, PALETTE, GREY_ALPHA, RGB_ALPHA = 0, 2, 3, 4, 6


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def pack_bits(samples, bits):
    """High bits first, filled up with zeros to a whole byte."""
    number = 0
    for sample in samples:
        number = number << bits | sample
    length = len(samples) * bits
    return (number << -length % 8).to_bytes((length + 7) // 8, "big")


def png(rows, bits=8, colour=GREY, before=b""):
    """`before`: chunks between header and pixels."""
    lines = b"".join(b"\0" + pack_bits([s for pixel in row for s in pixel], bits) for row in rows)
    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), bits, colour, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + before +
            chunk(b"IDAT", zlib.compress(lines)) + chunk(b"IEND", b""))


def png_chunks(data):
    """[(name, content)]"""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks = 8, []
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        chunks.append((name, data[at + 8:at + 8 + size]))
        at += 12 + size
    return chunks


def read_png(data):
    """Rows of a PNG as the tool writes them: (red, green, blue) of RGB, numbers of grey. Samples of
    16 bits are numbers, too."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, packed = 8, b""
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        assert struct.unpack(">I", data[at + 8 + size:at + 12 + size])[0] == zlib.crc32(name + body)
        if name == b"IHDR":
            width, height, *kind = struct.unpack(">IIBBBBB", body)
            assert kind[0] in (8, 16) and kind[1:] in ([RGB, 0, 0, 0], [GREY, 0, 0, 0]), kind
            n = (3 if kind[1] == RGB else 1) * kind[0] // 8  # bytes of a pixel
        elif name == b"IDAT":
            packed += body
        at += 12 + size
    raw, rows, above = zlib.decompress(packed), [], bytes(n * width)
    for y in range(height):
        method, line = raw[y * (n * width + 1)], bytearray(raw[y * (n * width + 1) + 1:][:n * width])
        if method == 2:
            line = bytearray((a + b) & 255 for a, b in zip(line, above))
        for i in range(n * width) if method not in (0, 2) else ():
            left, up, corner = (line[i - n] if i >= n else 0), above[i], (above[i - n] if i >= n else 0)
            guess = left + up - corner
            paeth = min((left, up, corner), key=lambda v: abs(guess - v))
            line[i] = (line[i] + (0, left, up, (left + up) // 2, paeth)[method]) & 255
        samples = line if kind[0] == 8 else struct.unpack(f">{n * width // 2}H", line)
        rows.append([tuple(samples[i:i + 3]) for i in range(0, 3 * width, 3)] if kind[1] == RGB
                    else list(samples))
        above = bytes(line)
    return rows


# ----- TIFF ---------------------------------------------------------------------------------------

NONE, LZW, DEFLATE, PACKBITS = 1, 5, 8, 32773
MIN_IS_WHITE, MIN_IS_BLACK, TIFF_RGB, TIFF_PALETTE = 0, 1, 2, 3


def lzw(data):
    """Codes of 9 bits only: the table is cleared before it needs 10."""
    codes = []
    for i, byte in enumerate(data):
        if i % 200 == 0:
            codes.append(256)
        codes.append(byte)
    return pack_bits((codes or [256]) + [257], 9)


def packbits(data):
    return b"".join(bytes([len(data[i:i + 128]) - 1]) + data[i:i + 128]
                    for i in range(0, len(data), 128))


def float_bits(rows):
    """Floats as the whole numbers that have the same 32 bits."""
    return [[[struct.unpack("<I", struct.pack("<f", v))[0] for v in p] for p in row]
            for row in rows]


FLOATS = {339: ("H", [3])}


def float_tiff(rows, order="<", **how):
    return tiff(page(float_bits(rows), 32, tags=FLOATS, **how), order=order)


def read_tiff(data):
    """({tag: values}, rows of pixels of components) of a plain little endian file."""
    assert data[:4] == b"II*\0"
    at = struct.unpack("<I", data[4:8])[0]
    tags = {}
    for i in range(struct.unpack("<H", data[at:at + 2])[0]):
        tag, kind, count = struct.unpack("<HHI", data[at + 2 + 12 * i:][:8])
        code = {1: "B", 3: "H", 4: "I", 11: "f", 12: "d"}.get(kind)
        if code is None:
            continue
        size, place = struct.calcsize(code) * count, at + 10 + 12 * i
        if size > 4:
            place = struct.unpack("<I", data[place:place + 4])[0]
        tags[tag] = list(struct.unpack(f"<{count}{code}", data[place:place + size]))
    assert struct.unpack("<I", data[at + 2 + 12 * struct.unpack("<H", data[at:at + 2])[0]:][:4])[0] == 0
    width, height, n = tags[256][0], tags[257][0], tags[277][0]
    assert tags[259] == [1] and tags[284] == [1]
    pixels = b"".join(data[a:a + b] for a, b in zip(tags[273], tags[279]))
    code = {8: "B", 16: "H", 32: "I"}[tags[258][0]]
    samples = struct.unpack(f"<{width * height * n}{code}", pixels)
    pixels = [list(samples[i:i + n]) for i in range(0, len(samples), n)]
    return tags, [pixels[i:i + width] for i in range(0, len(pixels), width)]


COMPRESS = {NONE: bytes, LZW: lzw, DEFLATE: zlib.compress, PACKBITS: packbits}


def samples_to_bytes(samples, bits, order):
    if bits in (8, 16, 32):
        return struct.pack(f"{order}{len(samples)}{ {8: 'B', 16: 'H', 32: 'I'}[bits]}", *samples)
    return pack_bits(samples, bits)


def page(rows, bits=16, photometric=MIN_IS_BLACK, planar=False, tile=None, strip=None,
         compression=NONE, tags=()):
    """One page. `tile`: (width, height); `strip`: rows a strip; `tags`: {tag: (type, values)}."""
    return dict(rows=rows, bits=bits, photometric=photometric, planar=planar, tile=tile,
                strip=strip, compression=compression, tags=dict(tags))


def blocks(page, order):
    """The compressed strips or tiles of a page."""
    rows, width, height = page["rows"], len(page["rows"][0]), len(page["rows"])
    if page["planar"]:
        planes = [[[[p[c]] for p in row] for row in rows] for c in range(len(rows[0][0]))]
    else:
        planes = [rows]
    result = []
    for plane in planes:
        empty = [0] * len(plane[0][0])
        if page["tile"]:
            tw, th = page["tile"]
            parts = [[[plane[y][x] if y < height and x < width else empty
                       for x in range(left, left + tw)] for y in range(top, top + th)]
                     for top in range(0, height, th) for left in range(0, width, tw)]
        else:
            step = page["strip"] or height
            parts = [plane[top:top + step] for top in range(0, height, step)]
        for part in parts:
            data = b"".join(samples_to_bytes([s for p in row for s in p], page["bits"], order)
                            for row in part)
            result.append(COMPRESS[page["compression"]](data))
    return result


def tiff(*pages, order="<"):
    """Each page's folder stands before its pixels, so that a file cut short lacks pixels."""
    out = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8)
    for number, page in enumerate(pages):
        rows = page["rows"]
        samples = len(rows[0][0])
        parts = blocks(page, order)
        tags = {256: ("I", [len(rows[0])]), 257: ("I", [len(rows)]),
                258: ("H", [page["bits"]] * samples), 259: ("H", [page["compression"]]),
                262: ("H", [page["photometric"]]), 277: ("H", [samples]),
                284: ("H", [2 if page["planar"] else 1])}
        where, sizes = (324, 325) if page["tile"] else (273, 279)
        if page["tile"]:
            tags.update({322: ("I", [page["tile"][0]]), 323: ("I", [page["tile"][1]])})
        else:
            tags[278] = ("I", [page["strip"] or len(rows)])
        extra = samples - (3 if page["photometric"] == TIFF_RGB else 1)
        if extra > 0:
            tags[338] = ("H", [0] * extra)
        tags[sizes] = ("I", [len(part) for part in parts])
        tags[where] = ("I", [0] * len(parts))
        tags.update(page["tags"])
        start = len(out)
        values_at = start + 2 + 12 * len(tags) + 4
        kinds = {"H": 3, "I": 4, "s": 2}

        def encode(kind, values):
            if kind == "s":
                return values.encode() + b"\0"
            return struct.pack(f"{order}{len(values)}{kind}", *values)

        total = sum(size + size % 2 for size in (len(encode(*t)) for t in tags.values()) if size > 4)
        offset, offsets = values_at + total, []
        for part in parts:
            offsets.append(offset)
            offset += len(part)
        offset += offset % 2
        tags[where] = ("I", offsets)
        folder, values = struct.pack(order + "H", len(tags)), b""
        for tag, (kind, content) in sorted(tags.items()):
            data = encode(kind, content)
            folder += struct.pack(order + "HHI", tag, kinds[kind], len(data) if kind == "s"
                                  else len(content))
            if len(data) > 4:
                folder += struct.pack(order + "I", values_at + len(values))
                values += data + b"\0" * (len(data) % 2)
            else:
                folder += data.ljust(4, b"\0")
        last = number == len(pages) - 1
        out += folder + struct.pack(order + "I", 0 if last else offset) + values + b"".join(parts)
        out += b"\0" * (0 if last else len(out) % 2)
    return out
