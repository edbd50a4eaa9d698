"""Small recipes for large inputs.

In an input file, @{1000*text}@ stands for the text a thousand times, with the number of the turn, from 0 on, in
place of each @#; recipes nest, and then @# is that of the innermost one. @DIR@ is the folder of the attack, with the
baits around it, and @URL@ the address of a server.
"""

import re

_INNERMOST = re.compile(r"@\{(\d+)\*((?:(?!@\{).)*?)\}@", re.DOTALL)


def _repeat(found):
    count, text = int(found[1]), found[2]
    if "@#" not in text:
        return text * count
    return "".join(text.replace("@#", str(turn)) for turn in range(count))


def expand(text, folder, url):
    text = text.replace("@DIR@", str(folder)).replace("@URL@", url)
    while _INNERMOST.search(text):
        text = _INNERMOST.sub(_repeat, text)
    return text
