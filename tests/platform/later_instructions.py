#!/usr/bin/env python3
"""Holds the platform's table of instructions that aren't emulated against an assembler and a disassembler. By hand:

    tests/platform/later_instructions.py [aarch64-linux-gnu-objdump [aarch64-linux-gnu-as]]

No row may match a word that is emulated, and each other word that the disassembler knows has to be in the table, with
an extension that the assembler wants for it and a name that the disassembler gives it. Both know no more than their
release did."""
import collections, os, random, re, subprocess, sys, tempfile

OBJDUMP = sys.argv[1] if len(sys.argv) > 1 else 'aarch64-linux-gnu-objdump'
AS = sys.argv[2] if len(sys.argv) > 2 else 'aarch64-linux-gnu-as'
# What the assembler is told for an extension, if that is not its name in small letters. Before a plus is what it takes
# beside the extension, without which the words have to be refused.
FLAGS = {'SVE AES': 'sve2-aes', 'SVE AES2': 'sve2+sve-aes2', 'SVE BITPERM': 'sve2-bitperm', 'SVE SHA3': 'sve2-sha3',
         'SVE SM4': 'sve2-sm4', 'SVE B16B16': 'sve2+sve-b16b16', 'SVE BFSCALE': 'sve2+sve-bfscale',
         'SVE2.1': 'sve2p1', 'SVE2.2': 'sve2p2', 'SVE2.3': 'sve2p3', 'SVE2.1 or SME': 'sme',
         'SVE2.1 or SME2': 'sme2', 'F16F32MM': 'sve-f16f32mm', 'LUT': 'sve2+lut', 'FAMINMAX': 'sve2+faminmax',
         'FP8': 'sve2+fp8', 'FP8FMA': 'sve2+fp8fma', 'FP8DOT2': 'sve2+fp8dot2', 'FP8DOT4': 'sve2+fp8dot4',
         'F8F32MM': 'sve2+f8f32mm', 'F8F16MM': 'sve2+f8f16mm', 'B16MM': 'sve+sve-b16mm'}
here = os.path.dirname(os.path.abspath(__file__))
source = open(f'{here}/../../platform/src/later_instructions.cpp').read()
names = dict(re.findall(r'\*(\w+) = "([^"]*)"', source))
table = [(int(m, 16), int(v, 16), names[e], n) for m, v, e, n in
         re.findall(r'^    \{(0x\w+), (0x\w+), (\w+), (?:"(.*)"|nullptr)\},$', source, re.M)]
emulated = [(int(r[3], 16), int(r[4], 16), None, r[0]) for r in
            (line.split('\t') for line in open(f'{here}/../unit/instruction_rows.tsv').read().splitlines()[1:])]


def finder(rows):
    """The first row that matches a word."""
    by_mask = collections.defaultdict(dict)
    for i, (mask, value, *_) in enumerate(rows):
        by_mask[mask].setdefault(value, i)
    def find(word):
        found = [by_mask[m][word & m] for m in by_mask if word & m in by_mask[m]]
        return rows[min(found)] if found else None
    return find


find_emulated, find_later = finder(emulated), finder(table)
failures = collections.Counter()
# Two rows have a word in common if they agree where both fix bits.
for mask, value, extension, name in table:
    if value & ~mask:
        failures[f'{value:08x} has bits outside of its mask'] += 1
    for other_mask, other_value, _, handler in emulated:
        if (value ^ other_value) & mask & other_mask == 0:
            failures[f'{extension} {name} {value:08x} matches words of {handler}'] += 1

# All that the upper half of the word can be, so that the rarest forms come too.
random.seed(int(os.environ.get('SEED', 1)))
words = [(high >> 15) << 29 | 0x04000000 | (high & 0x7fff) << 10 | low for high in range(1 << 18)
         for low in (0, 0x210, random.getrandbits(10), random.getrandbits(10))]
words = sorted(w for w in set(words) if not find_emulated(w))
forms = collections.defaultdict(list)
with tempfile.TemporaryDirectory() as directory:
    with open(f'{directory}/words', 'wb') as file:
        file.write(b''.join(w.to_bytes(4, 'little') for w in words))
    text = subprocess.run([OBJDUMP, '-D', '-b', 'binary', '-m', 'aarch64', f'{directory}/words'], text=True, check=True,
                          stdout=subprocess.PIPE).stdout
    decoded = re.findall(r'^ *[0-9a-f]+:\t([0-9a-f]{8}) \t(?!\.inst)(.*)', text, re.M)
    for word, instruction in decoded:
        instruction = re.split(r'//| ; ', instruction)[0].strip()
        row = find_later(int(word, 16))
        mnemonic = instruction.split()[0]
        if mnemonic == 'psel' and int(word, 16) & 0x210:
            continue  # older releases look at too few of its bits
        shape = mnemonic + re.sub(r'\d+', '#', instruction[len(mnemonic):])
        if not row:
            failures['not in the table: ' + shape] += 1
            continue
        # Letters in brackets may be missing.
        choices = [re.sub(r'\[([a-z]+)\]', r'[\1]?', part) for part in re.split(', | or ', row[3].split(' /z')[0])]
        choices = [choice.split(' of ')[0] for choice in choices]
        if not any(re.fullmatch(choice, mnemonic) for choice in choices) and row[2] != 'SVE2.2':
            failures[f'{mnemonic} is called {row[3]}'] += 1
        if len(forms[row[2], shape]) < 3:
            forms[row[2], shape].append(instruction)

    for extension in sorted(set(e for e, _ in forms)):
        lines = [line for (e, _), lines in forms.items() if e == extension for line in lines]
        open(f'{directory}/words.s', 'w').write('\n'.join(lines) + '\n')
        def refused(*flags):
            run = subprocess.run([AS, '-march=armv8.4-a+' + '+'.join(flags), f'{directory}/words.s', '-o', os.devnull],
                                 text=True, stderr=subprocess.PIPE)
            if 'unknown architectural extension' in run.stderr:
                return None
            return {int(n) for n in re.findall(r':(\d+): Error', run.stderr)}
        flag = FLAGS.get(extension, extension.lower())
        base = flag.split('+')[0] if '+' in flag else 'sve'
        with_it, without = refused(*(flag.split('+') if 'sme' in flag else ['sve', *flag.split('+')])), refused(base)
        if with_it is None:
            print(f'{extension}: unknown to this assembler')
            continue
        for n, line in enumerate(lines, 1):
            if n in with_it:
                failures[f'{extension} is not enough for: {line}'] += 1
            if n not in without:
                failures[f'{extension} is not needed for: {line}'] += 1

unknown = len(words) - len(decoded)
named = sum(1 for w in set(words) - {int(w, 16) for w, _ in decoded} if find_later(w))
print(f'{len(decoded)} words of {len(table)} rows in {len(forms)} forms; {named} of {unknown} others match a row')
for failure, count in sorted(failures.items()):
    print(f'FAILED: {failure} ({count} times)')
sys.exit(1 if failures or not decoded else 0)
