#!/usr/bin/env python3
"""Writes the stored forms that the tests compare with, from docs/stored-form.md alone.

usage: make.py            writes *.bin beside this file
       make.py --check    code 1 when a file differs from what would be written

What the records hold stands in tests/lut/stored_params_test.cpp as well; the two know nothing of
each other but these files.
"""
import struct
import sys
from pathlib import Path


# ----- The byte form -----------------------------------------------------------------------------
def node(kind, name, payload=b''):
    name = name.encode()
    return struct.pack('<BBH', kind, 0, len(name)) + name + payload


def null(name=''):
    return node(0, name)


def unsigned(name, value):
    return node(1, name, struct.pack('<I', value))


def double(name, value):
    bits = value if isinstance(value, bytes) else struct.pack('<d', value)
    return node(2, name, bits)


def boolean(name, value):
    return node(3, name, struct.pack('<B', value))


def text(name, value):
    value = value.encode()
    return node(4, name, struct.pack('<I', len(value)) + value)


def listing(name, *children, kind='CQmListVariant'):
    body = b''.join(children)
    return node(5, name, struct.pack('<H', len(kind)) + kind.encode() +
                struct.pack('<IQ', len(children), len(body)) + body)


def level(name, *children):
    return listing(name, *children, kind='')


def signed(name, value):
    return node(6, name, struct.pack('<i', value))


def block(outermost):
    return b'QMVT' + struct.pack('<HHQ', 1, 0, len(outermost)) + outermost


NAN = bytes.fromhex('000000000000f87f')  # the quiet one


# ----- Records -----------------------------------------------------------------------------------
def lut_param():
    def component(i):
        return listing(f'a{i:02}', unsigned('uiMinSrc', 100 + i), unsigned('uiMaxSrc', 60000 + i),
                       double('fMinSrc', 0.25 * i), double('fMaxSrc', 0.5 + 0.125 * i),
                       double('dGammaSrc', 1.5 + i), unsigned('uiMinDst', 200 + i),
                       unsigned('uiMaxDst', 50000 + i), unsigned('uiGroup', i // 2))

    def group(i):
        return listing(f'aGroup{i:02}', unsigned('uiColorGroup', 0x102030 + i),
                       unsigned('uiColorCustom', 0xFF405060 + i), double('dGainCustom', 2.0 + i),
                       double('dOffsetCustom', -0.5 - i), double('dGainGrouped', 3.0 + i),
                       double('dOffsetGrouped', 0.75 + i))

    return listing(
        '', unsigned('uiGradient', 7), unsigned('uiGradientBrightField', 9),
        unsigned('uiMinSrc', 1), unsigned('uiMaxSrc', 65534), double('dGammaSrc', 0.75),
        unsigned('uiMinDst', 3), unsigned('uiMaxDst', 65000), unsigned('uiColorSpace', 2),
        unsigned('uiRepresentation', 5), unsigned('uiLutComponentCount', 6),
        unsigned('uiGroupCount', 2),
        listing('sCompLutParam', *[component(i) for i in range(5)]),
        listing('sLutDataSpectral', double('dGainTrueColor', 4.0),
                double('dOffsetTrueColor', 0.125), double('dGainGrayScale', 5.0),
                double('dOffsetGrayScal', 0.375), unsigned('uiSpectralColorMode', 2),
                *[group(i) for i in range(2)]))


def gradient(name, positions, colors, interpolate, absolute, symmetric, center):
    nodes = []
    for i in range(10):
        valid = i < len(positions) and positions[i] is not None
        nodes.append(double(f'm_dNodeVal{i}', positions[i] if valid else NAN))
        nodes.append(boolean(f'm_bNodeValid{i}', valid))
    words = [unsigned(f'm_uiNodeColor{i}', colors[i] if i < len(colors) else 0) for i in range(10)]
    return listing('SQmGradientConfig', text('m_sName', name), *nodes, *words,
                   boolean('m_bInterpolate', interpolate), boolean('m_bAbsolute', absolute),
                   boolean('m_bSymmetric', symmetric), double('m_dCenter', center))


WARM = gradient('Grün → 火', [0.0, None, 100.0], [0xFF8000, 0x123456, 0xFFFFFFFF], False, True, True,
                -2.5)
EMPTY = gradient('', [], [], True, False, False, 0.0)

RATIO = [unsigned('uiNumer', 1), unsigned('uiDenom', 3), unsigned('uiNumOffset', 300),
         unsigned('uiDenOffset', 65535), double('dMin', 0.5), double('dMax', 4.0)]



def of_levels(name, *content):
    """A record of the light form: a level of its own in the outermost one."""
    return level('', level(name, signed('version', 1), *content))


def elements(values, *names):
    """A list: one unnamed level for each tuple of values."""
    made = []
    for value in values:
        value = value if isinstance(value, tuple) else (value,)
        made.append(level('', *[(double if isinstance(v, float) else unsigned)(name, v)
                                for name, v in zip(names, value)]))
    return made


LEVELS = ['uiMin', 'uiMax', 'dGamma']
SIZES = elements([3, 1, 2], 'puiComp')


def spectral(name, nodes_key, *after_sizes, nodes=2, lists=()):
    return of_levels(
        name, unsigned('m_uiBpc', 12), unsigned('m_uiChannelCount', 3),
        *([unsigned(nodes_key, nodes)] if nodes_key else []), unsigned('m_uiCompCount', 6), *SIZES,
        *after_sizes, unsigned('m_uiSpectralChannelCount', 2), double('dGamma', 0.75), *lists,
        *elements([(2.0 + i, -1.0 - i) for i in range(nodes + 1)], 'dGain', 'dOffset'))


CUSTOM = 'CQmLutParamSpectralCustomColor'
TYPED = {
    'CQmLutParamMCH': of_levels(
        'CQmLutParamMCH', unsigned('m_uiChannelCount', 2), unsigned('m_uiCompCount', 3),
        *elements([2, 1], 'puiComp'), unsigned('m_uiBpc', 8),
        *elements([(10, 200, 0.5), (0, 100, 2.0)], *LEVELS)),
    'CQmLutParamRGB': of_levels(
        'CQmLutParamRGB', unsigned('m_uiBpc', 12),
        *elements([(1, 2000, 0.5), (2, 2001, 1.5), (3, 2002, 2.5)], *LEVELS)),
    'CQmLutParamSpectralTrueColor': spectral('CQmLutParamSpectralTrueColor', None, nodes=1),
    CUSTOM: spectral(CUSTOM, 'm_uiNodeCount', lists=elements([0x10203, 0x20406], 'uiColor')),
    # Under another class's name, and the first sizes of channels once more.
    'CQmLutParamSpectralGrouped': spectral(CUSTOM, 'm_uiGroupCount',
                                           *elements([3, 1], 'puiComp'),
                                           lists=elements([5, 7], 'uiGroupSize')),
}

FILES = {
    'kinds': listing(
        'top', null(), null('nothing'), unsigned('most', 0xFFFFFFFF),
        double('nan', bytes.fromhex('efcdab896745f1ff')), double('', -0.0), boolean('no', False), boolean('yes', True),
        text('é€\U0001f600', 'ä\U0010ffff'), text('', ''), listing('none'),
        listing('in', listing('most', unsigned('most', 1)))),
    'levels': level(
        '', level('A', signed('i', -2147483648), unsigned('u', 0xFFFFFFFF), double('d', 0.1)),
        level('', signed('i', 1)), level('B', level('', signed('i', 2)), signed('i', 3)),
        level('', signed('i', 4)), level('C')),
    'SQmLutParam': lut_param(),
    'SQmGradientConfig': WARM,
    'SQmGradientConfigs': listing('CustomLUTs', listing('m_pGradientConfigs', WARM, EMPTY)),
    'SQmGradientConfigs_none': listing('CustomLUTs', listing('m_pGradientConfigs')),
    'SQmRatioDesc': listing('', *RATIO),
    'SQmRatioDesc_light': level('', level('RatioDesc', *RATIO)),
    **TYPED,
}

if __name__ == '__main__':
    differing = []
    for name, outermost in FILES.items():
        path = Path(__file__).with_name(name + '.bin')
        if '--check' not in sys.argv:
            path.write_bytes(block(outermost))
        elif path.read_bytes() != block(outermost):
            differing.append(path.name)
    sys.exit(f'differ: {differing}' if differing else 0)
