#!/usr/bin/python3
"""Character error rate of recognised texts against their truths.

usage: cer.py TRUTH RESULT [TRUTH RESULT ...]
Whitespace is left out on both sides before comparing, since engines space CJK text
differently; prints errors, characters and the rate in percent.
"""
import sys


def distance(a, b):
    prev = list(range(len(b) + 1))
    for i, ca in enumerate(a, 1):
        cur = [i]
        for j, cb in enumerate(b, 1):
            cur.append(min(prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (ca != cb)))
        prev = cur
    return prev[-1]


def squeeze(path):
    with open(path, encoding='utf-8', errors='replace') as f:
        return ''.join(f.read().split())


errors = chars = 0
pairs = sys.argv[1:]
for truth, result in zip(pairs[0::2], pairs[1::2]):
    t, r = squeeze(truth), squeeze(result)
    errors += distance(t, r)
    chars += len(t)
print(errors, chars, '%.3f' % (100.0 * errors / max(chars, 1)))
