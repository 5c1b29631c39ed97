#!/usr/bin/env python3
"""Writes the caption files of the decoder's tests: one word a line, each at its own frame of
29.97 drop-frame timecode, as a recording carries one pair a frame.

    tests/captions/data/make_scc.py DIR
    tests/captions/data/make_scc.py --fuzz-seeds DIR    (the decoder fuzzer's seeds)

A script is a list of steps: a command name (sent twice, as streams do), a name with "!" (sent
once), "P<row>" or "P<row>.<indent>" (a preamble address, twice), "#xxxx" (one word as given,
parity included), an int (jump to that frame) or text (two characters a word).
"""
import sys
from pathlib import Path

COMMANDS = {
    'RCL': (0x14, 0x20), 'BS': (0x14, 0x21), 'DER': (0x14, 0x24), 'RU2': (0x14, 0x25),
    'RU3': (0x14, 0x26), 'RU4': (0x14, 0x27), 'RDC': (0x14, 0x29), 'EDM': (0x14, 0x2C),
    'CR': (0x14, 0x2D), 'ENM': (0x14, 0x2E), 'EOC': (0x14, 0x2F), 'TO1': (0x17, 0x21),
    'TO2': (0x17, 0x22), 'TO3': (0x17, 0x23),
}
ROWS = {1: (0x11, 0x40), 2: (0x11, 0x60), 3: (0x12, 0x40), 4: (0x12, 0x60), 5: (0x15, 0x40),
        6: (0x15, 0x60), 7: (0x16, 0x40), 8: (0x16, 0x60), 9: (0x17, 0x40), 10: (0x17, 0x60),
        11: (0x10, 0x40), 12: (0x13, 0x40), 13: (0x13, 0x60), 14: (0x14, 0x40), 15: (0x14, 0x60)}


def with_parity(byte):
    byte &= 0x7F
    return byte | 0x80 if bin(byte).count('1') % 2 == 0 else byte


def drop_frame_timecode(frame):
    tens, rest = divmod(frame, 17982)
    skipped = 18 * tens + (2 * ((rest - 2) // 1798) if rest >= 2 else 0)
    n = frame + skipped
    return '%02d:%02d:%02d;%02d' % (n // 108000, n // 1800 % 60, n // 30 % 60, n % 30)


def is_preamble(step):
    return step.startswith('P') and step[1:2].isdigit()


def words(script):
    for step in script:
        if isinstance(step, int):
            yield ('jump', step)
            continue
        times = 2
        if step.endswith('!') and (step[:-1] in COMMANDS or is_preamble(step[:-1])):
            step, times = step[:-1], 1
        if step in COMMANDS:
            yield from [COMMANDS[step]] * times
        elif step.startswith('#'):
            word = bytes.fromhex(step[1:])
            yield ('raw', (word[0], word[1]))
        elif is_preamble(step):
            row, _, indent = step[1:].partition('.')
            first, second = ROWS[int(row)]
            if indent:
                second += 0x10 + int(indent) // 4 * 2
            yield from [(first, second)] * times
        else:
            text = step.encode('latin-1')
            for i in range(0, len(text), 2):
                yield (text[i], text[i + 1] if i + 1 < len(text) else 0)


def timed_words(script):
    """(frame, first byte, second byte) of each word, parity included."""
    frame = 0
    for word in words(script):
        if word[0] == 'jump':
            if word[1] < frame:
                raise ValueError('frame %d is already past %d' % (frame, word[1]))
            frame = word[1]
            continue
        if word[0] == 'raw':
            yield (frame,) + word[1]
        else:
            yield frame, with_parity(word[0]), with_parity(word[1])
        frame += 1


def fuzz_seed(script):
    """Records of the decoder fuzzer: the pair, then the frames since the pair before."""
    seed = bytearray()
    last = 0
    for frame, first, second in timed_words(script):
        seed += bytes([first, second, min(frame - last, 255)])
        last = frame
    return bytes(seed)


def scc(script):
    lines = ['Scenarist_SCC V1.0', '']
    for frame, first, second in timed_words(script):
        lines += ['%s\t%02x%02x' % (drop_frame_timecode(frame), first, second), '']
    return '\n'.join(lines)


def code(first, second):
    return '#%02x%02x' % (with_parity(first), with_parity(second))


def special(second):
    return code(0x11, second)


def extended(first, second):
    return code(first, second)


# Pop-on captions: rows, indents, attributes, special and extended characters; the last one is
# still on display at the end.
POP_ON = [
    'RCL', 'ENM', 'P15.8', "It's a caption.", 'EOC',
    90, 'RCL', 'ENM', 'P14', 'Two rows, the', 'P15.4', 'second indented', 'EOC',
    180, 'RCL', 'P13.8', 'ab', 'P15.4', 'cd', 'EOC',
    270, 'EDM',
    300, 'RCL', 'P15', 'Music ', special(0x37), special(0x37), ' and 50', special(0x31),
    special(0x31), 'F', 'EOC',
    400, 'RCL', 'P14', 'Fran{ais: ', 'E', extended(0x12, 0x21), extended(0x12, 0x21), 't\\',
    'P15', 'Gr', 'u', extended(0x12, 0x25), extended(0x12, 0x25), 'n', 'EOC',
    500, 'RCL', code(0x14, 0x68), code(0x14, 0x68), 'red row', code(0x11, 0x2E),
    code(0x11, 0x2E), 'italic', code(0x11, 0x20), code(0x11, 0x20), 'plain', 'TO2', 'tabbed',
    'EOC',
    600, 'RCL', 'P15', '*\\^_`{|}~', 'EOC',
    700, 'RCL', 'P12', 'Last caption,', 'P13', 'never erased.', 'EOC',
]

# Roll-up captions: two, three and four rows, the base row moved, an indent, an erase.
ROLL_UP = [
    'RU2', 'CR', 'P15', 'First line', 'CR',
    60, 'P15', 'second line', 'CR',
    120, 'P15', 'third line', 'CR',
    180, 'RU3', 'P15', 'now three rows', 'CR',
    240, 'P15.4', 'indented', 'CR',
    300, 'P15', 'and one more', 'CR',
    360, 'EDM', 'RU4', 'P12', 'base row 12', 'CR',
    420, 'P12', 'four', 'CR', 'P12', 'rows', 'CR', 'P12', 'at', 'CR', 'P12', 'most', 'CR',
    540, 'P12', 'left on display',
]

# Paint-on captions: painted over many frames, then erased; a delete to end of row.
PAINT_ON = [
    'RDC', 'P15', 'Painted ',
    30, 'word by ',
    60, 'word.',
    120, 'EDM',
    150, 'RDC', 'P14', 'ABCDEFGH', 'P14.4', 'DER', 'xy', 'P15', 'second row',
    240, 'EDM',
    270, 'RDC', 'P15', 'rows roll', 'CR', 'P15', 'in paint-on',
    360, 'EDM',
]


# Every code of every character set, each as a caption of its own between two letters.
def all_characters():
    script = ['RCL']
    frame = 0
    def caption(steps):
        nonlocal frame
        frame += 10
        script.extend([frame, 'P15!'] + steps + ['EOC!'])
    for code in range(0x20, 0x80):
        caption(['x' + chr(code), 'x'])
    for code in range(0x30, 0x40):
        caption(['x', special(code), 'x'])
    for first in (0x12, 0x13):
        for code in range(0x20, 0x40):
            caption(['xe', extended(first, code), 'x'])
    script.extend([frame + 10, 'EDM'])
    return script


FILES = {
    'pop_on.scc': POP_ON,
    'roll_up.scc': ROLL_UP,
    'paint_on.scc': PAINT_ON,
    'all_characters.scc': all_characters(),
}

if __name__ == '__main__':
    if sys.argv[1] == '--fuzz-seeds':
        out = Path(sys.argv[2])
        for name, script in FILES.items():
            (out / name.replace('.scc', '.pairs')).write_bytes(fuzz_seed(script))
    else:
        out = Path(sys.argv[1])
        for name, script in FILES.items():
            (out / name).write_text(scc(script) + '\n')
