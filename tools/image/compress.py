"""Compression as UEFI defines it, which every firmware unpacks
with EFI_DECOMPRESS_PROTOCOL: strings found again in the last 8 KiB, then Huffman codes, block by block.
"""
import heapq

WINDOW = 1 << 13
SHORTEST, LONGEST = 3, 256  # of a string that is found again
TRIES = 128  # places that are looked at for the longest string
BLOCK = 1 << 14  # symbols
CHARACTERS, POSITIONS, EXTRAS = 510, 14, 19  # how many symbols each set has
DEEPEST = 16  # bits of a code


class Bits:
    """A string of bits, the first one the highest of the first byte."""

    def __init__(self):
        self.bytes, self.pending, self.count = bytearray(), 0, 0

    def put(self, count, value):
        self.pending = self.pending << count | value
        self.count += count
        while self.count >= 8:
            self.count -= 8
            self.bytes.append(self.pending >> self.count)
            self.pending &= (1 << self.count) - 1

    def finish(self):
        self.put(-self.count % 8, 0)
        return bytes(self.bytes)


class Strings:
    """Finds what stands at a place once more in the window before it."""

    def __init__(self, data):
        self.data, self.places, self.next = data, {}, 0

    def longest(self, at):
        """The length and the distance of the longest string; the length is 0 without one. Places only go up."""
        for place in range(self.next, at):
            self.places.setdefault(self.data[place:place + SHORTEST], []).append(place)
        self.next = max(self.next, at)
        limit = min(LONGEST, len(self.data) - at)
        length, distance = 0, 0
        places = self.places.get(self.data[at:at + SHORTEST], []) if limit >= SHORTEST else []
        for place in reversed(places[-TRIES:]):
            if at - place > WINDOW or length == limit:
                break
            if self.data[place:place + length + 1] != self.data[at:at + length + 1]:
                continue
            length += 1
            while length < limit and self.data[place + length] == self.data[at + length]:
                length += 1
            distance = at - place
        return (length, distance) if length >= SHORTEST else (0, 0)


def symbols_of(data):
    """Characters as (character, None), strings as (256 and what the length is above the shortest, distance - 1)."""
    strings, symbols, at = Strings(data), [], 0
    here = strings.longest(0)
    while at < len(data):
        following = strings.longest(at + 1) if here[0] < LONGEST else (0, 0)
        if here[0] and here[0] >= following[0]:
            symbols.append((256 + here[0] - SHORTEST, here[1] - 1))
            at += here[0]
            here = strings.longest(at)
        else:
            symbols.append((data[at], None))
            at += 1
            here = following
    return symbols


def code_lengths(counts):
    """The length of each symbol's code, by how often it comes; none is above DEEPEST."""
    while True:
        heap = [(count, symbol, (symbol,)) for symbol, count in enumerate(counts) if count]
        heapq.heapify(heap)
        lengths = [0] * len(counts)
        while len(heap) > 1:
            first, second = heapq.heappop(heap), heapq.heappop(heap)
            for symbol in first[2] + second[2]:
                lengths[symbol] += 1
            heapq.heappush(heap, (first[0] + second[0], min(first[1], second[1]), first[2] + second[2]))
        if max(lengths, default=0) <= DEEPEST:
            return lengths
        counts = [(count + 1) // 2 for count in counts]


def codes_of(lengths):
    """The code of each symbol: shorter ones first, among equals by symbol."""
    codes, code = [0] * len(lengths), 0
    for length in range(1, DEEPEST + 1):
        code <<= 1
        for symbol, own in enumerate(lengths):
            if own == length:
                codes[symbol] = code
                code += 1
    return codes


class Code:
    def __init__(self, counts):
        used = [symbol for symbol, count in enumerate(counts) if count]
        self.only = (used + [0])[0] if len(used) < 2 else None  # a set of one symbol, which takes no bits
        self.lengths = code_lengths(counts)
        self.codes = codes_of(self.lengths)

    def put(self, bits, symbol):
        bits.put(self.lengths[symbol], self.codes[symbol])

    def trimmed(self):
        """The lengths up to the last that is not 0."""
        end = len(self.lengths)
        while end and not self.lengths[end - 1]:
            end -= 1
        return self.lengths[:end]


def put_lengths(bits, code, width, special=None):
    """Lengths in three bits each, longer ones with a 1 more for each step; behind the special-th one, how many 0 follow."""
    if code.only is not None:
        bits.put(width, 0)
        bits.put(width, code.only)
        return
    lengths = code.trimmed()
    bits.put(width, len(lengths))
    at = 0
    while at < len(lengths):
        length = lengths[at]
        if length < 7:
            bits.put(3, length)
        else:
            bits.put(length - 3, (1 << (length - 3)) - 2)
        at += 1
        if at == special:
            while at < 6 and at < len(lengths) and not lengths[at]:
                at += 1
            bits.put(2, at - special)


def extras_of(lengths):
    """Lengths as symbols of the extra set, each with the count and the value of bits behind it: 0 for one length of 0,
    1 for 3 to 18 of them, 2 for 20 and more, a length and 2 for any other."""
    extras, at = [], 0
    while at < len(lengths):
        run = 0
        while at + run < len(lengths) and not lengths[at + run] and run < 20 + 511:
            run += 1
        if not run:
            extras.append((lengths[at] + 2, 0, 0))
        elif run < 3:
            extras += [(0, 0, 0)] * run
        elif run < 19:
            extras.append((1, 4, run - 3))
        elif run == 19:
            extras += [(0, 0, 0), (1, 4, 15)]
        else:
            extras.append((2, 9, run - 20))
        at += max(run, 1)
    return extras


def put_characters(bits, code):
    """The lengths of the set of characters and lengths, in codes of the extra set."""
    extras = [] if code.only is not None else extras_of(code.trimmed())
    extra = Code(counts_of((symbol for symbol, _, _ in extras), EXTRAS))
    put_lengths(bits, extra, 5, special=3)
    bits.put(9, 0 if code.only is not None else len(code.trimmed()))
    if code.only is not None:
        bits.put(9, code.only)
    for symbol, count, value in extras:
        extra.put(bits, symbol)
        bits.put(count, value)


def counts_of(symbols, size):
    counts = [0] * size
    for symbol in symbols:
        counts[symbol] += 1
    return counts


def put_block(bits, symbols):
    characters = Code(counts_of((symbol for symbol, _ in symbols), CHARACTERS))
    positions = Code(counts_of((place.bit_length() for _, place in symbols if place is not None), POSITIONS))
    bits.put(16, len(symbols))
    put_characters(bits, characters)
    put_lengths(bits, positions, 4)
    for symbol, place in symbols:
        characters.put(bits, symbol)
        if place is not None:
            width = place.bit_length()
            positions.put(bits, width)
            if width > 1:
                bits.put(width - 1, place - (1 << (width - 1)))


def compress(data):
    """Data with its header: both sizes in four bytes each."""
    symbols = symbols_of(bytes(data))
    bits = Bits()
    for at in range(0, len(symbols), BLOCK):
        put_block(bits, symbols[at:at + BLOCK])
    packed = bits.finish()
    return len(packed).to_bytes(4, "little") + len(data).to_bytes(4, "little") + packed
