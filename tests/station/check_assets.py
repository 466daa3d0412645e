#!/usr/bin/env python3
"""Holds the station's page to what it must have: colours that can be told apart, a picture for every setting of a
fixture, and words in every language for whatever the program can say.

    check_assets.py SOURCE_DIR
"""
import json
import pathlib
import re
import sys

SOURCE = pathlib.Path(sys.argv[1])
ASSETS = SOURCE / 'factory/station/assets'

# WCAG 2.1 AA: text 4.5 to 1, what is drawn and what frames a control 3 to 1.
TEXT, DRAWN = 4.5, 3
EVERYWHERE = [('text', 'page', TEXT), ('text', 'card', TEXT), ('muted', 'page', TEXT), ('muted', 'card', TEXT),
              ('line', 'page', DRAWN), ('line', 'card', DRAWN)]
AT_WORK = EVERYWHERE + [
    ('on-accent', 'accent', TEXT), ('on-notice', 'notice', TEXT), ('accent', 'page', DRAWN), ('accent', 'card', DRAWN),
    ('accent', 'band', DRAWN), ('failed', 'band', DRAWN), ('failed', 'card', TEXT), ('error', 'card', TEXT),
    ('text', 'body', DRAWN), ('passed', 'page', TEXT), ('failed', 'page', TEXT), ('error', 'page', TEXT),
    ('aborted', 'page', TEXT)]
VERDICTS = ('passed', 'failed', 'error', 'aborted')


def luminance(colour):
    parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
    red, green, blue = (part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(one, other):
    dark, light = sorted((luminance(one), luminance(other)))
    return (light + 0.05) / (dark + 0.05)


def check_contrast():
    css = (ASSETS / 'station.css').read_text()
    colours = lambda block: dict(re.findall(r'--([a-z-]+): (#[0-9a-f]{6});', block))
    roots = [colours(block) for block in re.findall(r':root \{(.*?)\}', css, re.S)]
    schemes = {'light': roots[0], 'dark': roots[0] | roots[1]}
    looks = [(name, scheme, AT_WORK) for name, scheme in schemes.items()]
    for verdict in VERDICTS:
        own = colours(re.search(r'\.alone\[data-verdict=' + verdict + r'\].*?\{(.*?)\}', css, re.S).group(1))
        looks += [(f'{verdict}, {name}', scheme | own, EVERYWHERE) for name, scheme in schemes.items()]
    for name, scheme, wanted in looks:
        for front, back, least in wanted:
            found = contrast(scheme[front], scheme[back])
            if found < least:
                yield f'{name}: {front} on {back} has a contrast of {found:.2f}, not {least}'
    bare = re.findall(r'^(?!.*--[a-z-]+: ).*?(#[0-9a-f]{3,8}\b|\brgba?\().*$', css, re.M | re.I)
    yield from (f'station.css: the colour {colour} has no name, so nothing is held to its contrast' for colour in bare)


def sources():
    """The literals of the program's own texts, those of adjacent lines joined."""
    for path in (SOURCE / 'factory').rglob('*.[ch]*'):
        if path.suffix in ('.cpp', '.h'):
            for run in re.findall(r'"(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*', path.read_text()):
                yield ''.join(re.findall(r'"((?:[^"\\\n]|\\.)*)"', run)).replace('\\"', '"')


def check_texts():
    texts = {path.stem: json.loads(path.read_text()) for path in (ASSETS / 'texts').glob('*.json')}
    script = (ASSETS / 'station.js').read_text()
    codes = re.findall(r'Ground \w+\{"([a-z_.]+)"', (SOURCE / 'factory/record/why.h').read_text())
    settings = (SOURCE / 'factory/phone/fixture_settings.cpp').read_text()
    instructions = re.findall(r'\{"([a-z-]+)", "([^"]+)", "[A-Z]', settings)
    keys = re.findall(r'\{"([a-z-]+)",', settings.split('kSettings[] = {')[1].split('};')[0])
    pictures = (ASSETS / 'pictures.js').read_text().split('const kDraw = {')[1].split('\n};')[0]
    if len(codes) < 30 or len(instructions) < 18 or len(keys) < 9:
        yield 'the tables of the program look otherwise than this test knows them'
    drawn = re.findall(r"^  '?([a-z-]+)'?\(value\)", pictures, re.M)
    yield from (f'pictures.js draws nothing for the setting {key}' for key in keys if key not in drawn)
    said = set(re.findall(r"\bsay\(\s*'([a-z-]+)'", script))
    yield from (f'en.json has no text "{key}", which the page says' for key in said - texts['en']['page'].keys())
    table = re.findall(r'^\| (?:409|422|503) \| (.*) \|$', (SOURCE / 'docs/formats/station.md').read_text(), re.M)
    refusals = set(re.findall(r'`([a-z-]+)`', ' '.join(table))) - {'not-an-answer', 'not-an-order'}  # of programs alone
    if len(refusals) < 14:
        yield 'the table of refusals looks otherwise than this test knows it'
    spoken = set(sources())
    problems = {word for word in spoken if re.fullmatch('(runner|record|store|run)-[a-z]+', word)}
    if len(problems) < 14:
        yield 'the problems of runners look otherwise than this test knows them'
    named = re.findall(r'step->name = "([^"]+)"', (SOURCE / 'factory/run/plan_steps.cpp').read_text())
    for language, table in texts.items():
        for part, wanted in {'page': texts['en']['page'], 'refused': texts['en']['refused'],
                             'verdicts': VERDICTS, 'kinds': texts['en']['kinds']}.items():
            yield from (f'{language}.json: {part} has no "{key}"' for key in wanted if key not in table[part])
        if language == 'en':
            continue
        yield from (f'{language}.json: no words for {code}' for code in problems if code not in table['problems'])
        yield from (f'{language}.json: no words for steps named "{name}"' for name in named
                    if name != 'set' and not any(one.startswith(name) for one in table['names']))
        yield from (f'{language}.json: no words for {code}' for code in refusals if code not in table['refused'])
        yield from (f'{language}.json: no words for the reason {code}' for code in codes if code not in table['reasons'])
        for key, pattern in instructions:
            if pattern not in table['fixture'].get(key, {}):
                yield f'{language}.json: no instruction for {key} {pattern}'
        yield from (f'{language}.json: nothing says "{hint}"' for hint in table['hints'] if hint not in spoken)


problems = [*check_contrast(), *check_texts()]
print('\n'.join(problems))
sys.exit(1 if problems else 0)
