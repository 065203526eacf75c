"""The codes and texts in the reference and in the headers are those of the code.

Takes the root of the source tree as its first argument.
"""
import collections
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1))

STRING = r'"(?:\\.|[^"\\])*"'
SITE_STEP = 0x10000  # the low 16 bits of a transport code are the error number
OWN_NUMBER = 0x8000  # marks an error number of ZeroMQ's own
FIRST_OWN_NUMBER = 156384712

Failure = collections.namedtuple('Failure', 'kind code text')
Site = collections.namedtuple('Site', 'code text')


def read(path):
    return (ROOT / path).read_text(encoding='utf-8')


# ---- The tables in the code. Source that these parsers cannot read is an error. ----

def between(source, start, end):
    """What stands between the two, without its C++ comments."""
    found = re.search(re.escape(start) + '(.*?)' + re.escape(end), source, re.S)
    if found is None:
        raise ValueError('%r ... %r is missing' % (start, end))
    return re.sub(STRING + '|(//[^\n]*)', lambda match: ' ' if match[1] else match[0],
                  found[1]).strip()


def rows(source, row):
    """The groups of each row, in a source that consists of such rows alone."""
    position = 0
    while position < len(source):
        found = re.compile(row + r'\s*').match(source, position)
        if found is None:
            raise ValueError('not a row of the table: %r' % source[position:position + 80])
        yield found.groups()
        position = found.end()


TEXT = r'\s*((?:%s\s*)+)' % STRING


def joined(literals):
    """The text of adjacent string literals, with its escapes as they are written."""
    return ''.join(literal[1:-1] for literal in re.findall(STRING, literals))


def failures():
    source = read('src/core/failure_table.hpp')
    kinds = dict(re.findall(r'^using (\w+) = Failure<(std::\w+)>;$', source, re.M))
    table = between(source, 'namespace failures {', '}  // namespace failures')
    return [Failure(kinds[kind], int(code), joined(text)) for kind, code, text in
            rows(table, r'inline constexpr (\w+) \w+\{\s*(-\d+),%s\};' % TEXT)]


def sites():
    source = read('src/transport/transport_error.hpp')
    table = between(source, 'namespace sites {', '}  // namespace sites')
    return [Site(int(code, 16), joined(text)) for code, text in
            rows(table, r'inline constexpr Site \w+\{\s*(0x[0-9a-f]+),%s\};' % TEXT)]


def keep_alive_rows():
    """The site of each keep-alive option, and its code when the socket cannot be closed either."""
    source = read('src/transport/socket_options.hpp')
    table = between(source, 'keepAliveRows[] = {', '\n};')
    return [(Site(int(code, 16), joined(text)), int(not_closed, 16)) for code, text, not_closed in
            rows(table, r'\{\w+,\s*\d+,\s*\{(0x[0-9a-f]+),%s\},\s*(0x[0-9a-f]+)\},' % TEXT)]


def codes_without_a_text():
    """Status codes that functions return without an exception, each a named constant."""
    return set(int(code) for path in sorted((ROOT / 'src').rglob('*.[ch]pp'))
               for code in re.findall(r'constexpr int \w+ = (-\d+);', read(path)))


def transport_literals():
    return set(literal[1:-1] for path in (ROOT / 'src/transport').glob('*.cpp')
               for literal in re.findall(STRING, read(path)))


FAILURES = failures()
KEEP_ALIVE = keep_alive_rows()
SITES = sites() + [site for site, _ in KEEP_ALIVE]
NOT_CLOSED = [code for _, code in KEEP_ALIVE]
SITE_CODES = set(site.code for site in SITES) | set(NOT_CLOSED)
CODES = set(failure.code for failure in FAILURES) | codes_without_a_text()


def texts_by_code(table):
    texts = collections.defaultdict(list)
    for row in table:
        texts[row.code].append(row.text)
    return dict((code, sorted(found)) for code, found in texts.items())


# ---- The reference ----

def quoted(text):
    return re.findall('"([^"]*)"', text)


def table_of(header):
    """The cells of each row of the table in the reference that has this header."""
    lines = read('docs/reference.md').split('\n')
    start = lines.index(header) + 2
    end = lines.index('', start)
    return [[cell.strip() for cell in line.strip('|').split(' | ')] for line in lines[start:end]]


class Reference(unittest.TestCase):
    maxDiff = None

    def test_the_status_codes_are_those_of_the_code_with_their_texts(self):
        documented = {}
        for code, _, texts in table_of('| code | meaning | texts |'):
            if not code.endswith(' and below'):
                self.assertNotIn(int(code), documented)
                documented[int(code)] = sorted(quoted(texts))
        expected = dict((code, []) for code in CODES)
        expected.update(texts_by_code(FAILURES))
        self.assertEqual(expected, documented)

    def test_the_transport_codes_begin_below_the_first_site(self):
        ends = [code for code, _, _ in table_of('| code | meaning | texts |')
                if code.endswith(' and below')]
        self.assertEqual(['%d and below' % -min(SITE_CODES)], ends)

    def test_the_sites_are_those_of_the_code_with_their_texts(self):
        documented = {}
        details = set()
        for code, what_failed, texts in table_of('| site | what failed | text |'):
            if ' to ' in code:
                for ends, expected in ((code, NOT_CLOSED),
                                       (what_failed, [site.code for site, _ in KEEP_ALIVE])):
                    first, last = [int(end, 16) for end in re.findall('0x[0-9a-f]+', ends)]
                    self.assertEqual(expected, list(range(first, last + 1, SITE_STEP)))
                details.update(quoted(texts))
                continue
            found = quoted(texts)
            details.update(text for text in found if text.startswith(' : '))
            self.assertNotIn(int(code, 16), documented)
            documented[int(code, 16)] = sorted(t for t in found if not t.startswith(' : '))
        self.assertEqual(texts_by_code(SITES), documented)
        self.assertTrue(details)
        self.assertLessEqual(details, transport_literals())

    def test_common_transport_codes_name_their_sites(self):
        names = dict((int(code, 16), name)
                     for code, name, _ in table_of('| site | what failed | text |')
                     if ' to ' not in code)
        for codes, meaning in table_of('| code | meaning |'):
            codes = [-int(code) for code in codes.split(', ')]
            sites_named = meaning.split(':')[0].split(', ')
            self.assertEqual(len(codes), len(sites_named), meaning)
            for code, site in zip(codes, sites_named):
                name = names[code // SITE_STEP * SITE_STEP]
                self.assertEqual(name.split()[0].rstrip(':'), site.split()[0], meaning)

    def test_examples_of_transport_codes_are_computed_correctly(self):
        prose = ' '.join(read('docs/reference.md').split())
        examples = re.findall(r"-(\d+)(?:, for example,)? is 0x([0-9a-f]+): [^,]+, "
                              r"(ZeroMQ's own )?error (\d+)", prose)
        self.assertEqual(2, len(examples))
        for decimal, hexadecimal, own, number in examples:
            self.assertEqual(int(decimal), int(hexadecimal, 16))
            self.assertEqual(int(number) + (OWN_NUMBER if own else 0), int(decimal) % SITE_STEP)
        self.assertIn('base of %d' % FIRST_OWN_NUMBER, prose)


# ---- The headers ----

def comments():
    """Each documentation comment of each header, on one line."""
    for path in sorted((ROOT / 'include/tavrik').rglob('*.h*')):
        for comment in re.findall(r'/\*\*(.*?)\*/', read(path), re.S):
            yield path.name, ' '.join(re.sub(r'\n\s*\* ?', '\n', comment).split())


def throws_clauses():
    for name, comment in comments():
        for clause in re.findall(r'@throws (.*?)(?= @\w|$)', comment):
            yield name, clause


def matches(text, failure):
    """Whether a quoted text is that of the failure; "..." stands for any characters."""
    return re.fullmatch('.+'.join(map(re.escape, text.split('...'))), failure.text) is not None


class Headers(unittest.TestCase):
    def known(self, name, code, text, kind=None):
        self.assertTrue(any(failure.code == code and matches(text, failure) and
                            kind in (None, failure.kind) for failure in FAILURES),
                        '%s: %s %d "%s"' % (name, kind or '', code, text))

    def test_each_text_beside_a_code_is_a_text_of_that_code(self):
        pairs = 0
        one = r'(-\d+(?: or -\d+)*),? ("[^"]*"(?: or "[^"]*")*)'
        for name, comment in comments():
            for codes, texts in re.findall(one, comment):
                for code in re.findall(r'-\d+', codes):
                    for text in quoted(texts):
                        self.known(name, int(code), text)
                        pairs += 1
        self.assertGreater(pairs, 50)

    def test_each_text_that_is_thrown_is_a_text_of_the_code_and_has_its_type(self):
        clauses = 0
        for name, clause in throws_clauses():
            found = re.match(r'(std::\w+) ', clause)
            kind = found[1] if found else None
            for text in quoted(clause):
                if text.startswith('zeromq:'):
                    continue
                kinds = set(failure.kind for failure in FAILURES if matches(text, failure))
                self.assertTrue(kinds, '%s: "%s"' % (name, text))
                if kind is not None:
                    self.assertIn(kind, kinds, '%s: "%s"' % (name, text))
            clauses += 1
        self.assertGreater(clauses, 30)

    def test_each_example_of_a_whole_text_is_one_of_the_code(self):
        examples = [(name, text) for name, comment in comments() for text in quoted(comment)
                    if re.search(r'tavrik:-\d', text)]
        self.assertTrue(examples)
        for name, text in examples:
            description, code = text.split('tavrik:')
            self.known(name, int(code), description)

    def test_the_range_of_the_librarys_own_codes_is_that_of_the_code(self):
        prose = re.sub(r'[\s*]+', ' ', read('include/tavrik/tavrik.h'))
        ends = re.search(r"Codes from (-\d+) to (-\d+) are the library's own", prose)
        self.assertEqual(('-2', str(min(CODES))), ends.groups())

    def test_each_status_code_is_one_of_the_code(self):
        codes = 0
        for name, comment in comments():
            for code in re.findall(r'(?<![\w.])-\d{1,2}\b(?! ms)', comment):
                self.assertIn(int(code), CODES, '%s: %s' % (name, comment))
                codes += 1
        self.assertGreater(codes, 100)

    def test_each_transport_code_has_a_site_of_the_code(self):
        codes = 0
        for name, comment in comments():
            for code in re.findall(r'\b1[67]\d{6}\b', comment):
                self.assertIn(int(code) // SITE_STEP * SITE_STEP, SITE_CODES, name)
                codes += 1
            for site in re.findall(r'\bsite (0x[0-9a-f]+)', comment):
                self.assertIn(int(site, 16), SITE_CODES, name)
                codes += 1
        self.assertGreater(codes, 5)


if __name__ == '__main__':
    unittest.main(verbosity=2)
