"""Configuration files: the odd ones that were thought of, and generated ones that are the same in every run."""

import random

_PLAIN = b"""\
[DBSource]
db_connection_name=BrantwellSource
db_connection_login=bw_reader
db_schema=dbo
[DBDestination]
db_connection_name=BrantwellDestination
db_connection_login=bw_migrator
db_schema=public
"""


def _source(line: bytes) -> bytes:
    """A file with that line in the section of the source."""
    return b"[DBSource]\n" + line + b"\n[DBDestination]\ndb_schema=public\n"


def _name(value: bytes) -> bytes:
    """A file with that value behind the "=" of the source's name."""
    return _source(b"db_connection_name=" + value + b"\ndb_schema=dbo")


def _header(line: bytes) -> bytes:
    """A file with that line in place of the header of the source's section."""
    return _PLAIN.replace(b"[DBSource]", line)


# The readers of both systems agree about these.
AGREED = {
    "plain": _PLAIN,
    "empty": b"",
    "only line ends": b"\n\r\n\r\r\n\n",
    "only zero bytes": bytes(100),
    "all bytes": bytes(range(256)) * 2,
    "no sections": _PLAIN.replace(b"[", b"").replace(b"]", b""),
    # Line ends
    "CRLF": _PLAIN.replace(b"\n", b"\r\n"),
    "CR alone": _PLAIN.replace(b"\n", b"\r"),
    "LF and CR the wrong way round": _PLAIN.replace(b"\n", b"\n\r"),
    "CR inside a value": _name(b"Old\rserver"),
    "CR inside a value, with a key behind": _name(b"Old\rdb_connection_login=reader"),
    "two CR in front of LF": _PLAIN.replace(b"\n", b"\r\r\n"),
    "no line end at the end": _PLAIN[:-1],
    "no line end behind a header": b"[DBSource]",
    "no line end behind an equals sign": b"[DBSource]\ndb_schema=",
    "CR at the end": _PLAIN[:-1] + b"\r",
    "end-of-file mark at the end": _PLAIN + b"\x1a",
    "end-of-file mark behind the last value": _PLAIN[:-1] + b"\x1a",
    "end-of-file mark inside a value": _name(b"Old\x1aserver"),
    "end-of-file mark in a line of its own": _PLAIN.replace(b"[DBDestination]", b"\x1a\n[DBDestination]"),
    # Blanks
    "blanks around lines, names and values": b"\n".join(
        b" \t" + line.replace(b"=", b" \t = \t ") + b"\t " for line in _PLAIN.split(b"\n")
    ),
    "vertical tabs and form feeds around lines, names and values": b"\n".join(
        b"\v\f" + line.replace(b"=", b"\v\f=\f\v") + b"\f\v" for line in _PLAIN.split(b"\n")
    ),
    "blanks inside a header": _header(b"[ DBSource\t]"),
    "no-break blanks around a value": _name(b"\xa0Old\xa0"),
    "blank lines": _PLAIN.replace(b"\n", b"\n\n \n\t\n"),
    "blanks inside a value": _name(b"Old  server \t 1"),
    "blanks inside a name": _source(b"db connection_name=Old\ndb_ schema=dbo"),
    "value of blanks": _name(b" \t "),
    "vertical tabs and form feeds inside a header": _header(b"[\vDBSource\f]"),
    "end-of-file mark inside a header": _header(b"[DBSource\x1a]"),
    "zero byte behind a blank inside a header": _header(b"[DBSource \0]"),
    "control characters around a value": _name(b"\x01Old\x1f"),
    "DEL around a value": _name(b"\x7fOld\x7f"),
    # Values
    "empty values": b"[DBSource]\ndb_connection_name=\ndb_connection_login=\ndb_schema=\n",
    "schema that ends with a point": _source(b"db_schema=dbo."),
    "equals sign inside a value": _name(b"a=b"),
    "equals sign in front of a value": _name(b"=a"),
    "equals sign alone": _source(b"=\ndb_schema=dbo"),
    "value without a name": _source(b"=Old\ndb_schema=dbo"),
    "brackets in a value": _name(b"[Old]"),
    "semicolon inside a value": _name(b"a;b"),
    "semicolon in front of a value": _name(b";a"),
    "semicolon behind a value": _name(b"Old ; the old one"),
    "number sign in front of a value": _name(b"#a"),
    "backslash at the end of a value": _name(b"Old\\"),
    "percent signs": _name(b"%PATH%"),
    "letters of the code page": _name(b"Z\xfcrich \x80 \x9f \xff"),
    "bytes that the code page does not know": _name(b"a\x81b\x8dc\x8fd\x90e\x9df"),
    # Lengths
    "1022 letters": _name(b"x" * 1021 + b"y"),
    "1023 letters": _name(b"x" * 1022 + b"y"),
    "1024 letters": _name(b"x" * 1023 + b"y"),
    "5000 letters": _name(b"x" * 1023 + b"y" * 3977),
    "100000 letters": _name(b"x" * 100000),
    "1021 letters in quotes": _name(b'"' + b"x" * 1020 + b'y"'),
    "1022 letters in quotes": _name(b'"' + b"x" * 1021 + b'y"'),
    "blank where a long value is cut": _name(b"x" * 1022 + b" y"),
    "long name": _source(b"x" * 5000 + b"=1\ndb_schema=dbo"),
    "long comment": _source(b";" + b"x" * 5000 + b"\ndb_schema=dbo"),
    "long section": b"[" + b"x" * 5000 + b"]\n" + _PLAIN,
    # Quotes
    "double quotes": _name(b'"Old"'),
    "single quotes": _name(b"'Old'"),
    "blanks inside quotes": _name(b'" Old "'),
    "blanks around quotes": _name(b' "Old" '),
    "quotes that are no pair": _name(b"\"Old'"),
    "quote in front": _name(b'"Old'),
    "quote behind": _name(b'Old"'),
    "quote alone": _name(b'"'),
    "two quotes": _name(b'""'),
    "three quotes": _name(b'"""'),
    "two single quotes": _name(b"''"),
    "quotes inside quotes": _name(b"\"'Old'\""),
    "doubled quotes": _name(b'""Old""'),
    "quotes with text behind": _name(b'"Old" server'),
    "text in front of quotes": _name(b'server "Old"'),
    "quotes around an empty schema": _source(b"db_schema=''"),
    "quotes around a name": _source(b'"db_schema"=dbo'),
    "quotes around a section": _header(b'["DBSource"]'),
    # Comments
    "comments": b"; one\n" + _PLAIN.replace(b"\n", b"\n;db_schema=comment\n ; db_connection_name=comment\n"),
    "header in a comment": b";[DBSource]\n" + _PLAIN,
    "number sign in front of a name": _source(b"#db_schema=no\ndb_schema=dbo"),
    "semicolon behind a name": _source(b"db_schema;=no\ndb_schema=dbo"),
    # Case
    "odd case": _PLAIN.swapcase(),
    "capitals": _PLAIN.upper(),
    # Sections and repetitions
    "repeated key": _source(b"db_schema=first\ndb_schema=second"),
    "repeated key, the first one empty": _source(b"db_schema=\ndb_schema=second"),
    "repeated key in another case": _source(b"DB_SCHEMA=first\ndb_schema=second"),
    "repeated section": _PLAIN + b"[DBSource]\ndb_schema=again\n",
    "repeated section that has what the first one lacks": b"[DBSource]\ndb_schema=dbo\n[dbsource]\n"
    b"db_connection_name=Old\n",
    "empty section in front of the same": b"[DBSource]\n" + _PLAIN,
    "only the source": _PLAIN[: _PLAIN.index(b"[DBDestination]")],
    "only the destination": _PLAIN[_PLAIN.index(b"[DBDestination]") :],
    "sections the other way round": _PLAIN[_PLAIN.index(b"[DBDestination]") :]
    + _PLAIN[: _PLAIN.index(b"[DBDestination]")],
    "keys in front of any section": b"db_connection_name=before\ndb_schema=before\n" + _PLAIN,
    "other sections and keys": b"[Other]\ndb_schema=other\n" + _PLAIN.replace(b"db_schema", b"other=1\ndb_schema"),
    "section without a name": b"[]\ndb_schema=none\n" + _PLAIN,
    "longer names": _source(b"db_schemas=no\nxdb_schema=no\ndb_schema=dbo"),
    "longer section": b"[DBSources]\ndb_schema=no\n" + _PLAIN,
    "text behind a header": _header(b"[DBSource] ; the old server"),
    "key behind a header": _source(b"").replace(b"[DBSource]\n", b"[DBSource]db_schema=dbo\n"),
    "opening bracket inside a header": _header(b"[[DBSource]"),
    "closing bracket alone": _header(b"DBSource]"),
    "header behind text": _header(b"x[DBSource]"),
    # Zero bytes
    "zero byte inside a value": _name(b"Old\0server"),
    "zero byte in front of a value": _name(b"\0Old"),
    "zero byte behind a value": _name(b"Old\0"),
    "zero byte behind quotes": _name(b'"Old"\0'),
    "zero byte inside quotes": _name(b'"Old\0"'),
    "zero byte behind a name": _source(b"db_schema\0=dbo"),
    "zero byte and text behind a name": _source(b"db_schema\0x=dbo"),
    "blank and zero byte behind a name": _source(b"db_schema \0=dbo"),
    "zero byte in front of a name": _source(b"\0db_schema=dbo"),
    "zero byte in a section's name": _header(b"[DBSource\0x]"),
    "zero byte in front of a header": _header(b"\0[DBSource]"),
    "zero byte alone in a line": _header(b"\0\n[DBSource]"),
    # Byte-order marks
    "byte-order mark": b"\xef\xbb\xbf" + _PLAIN,
    "byte-order mark alone": b"\xef\xbb\xbf",
    "byte-order mark and a blank line": b"\xef\xbb\xbf\n" + _PLAIN,
    "byte-order mark in the second line": b"\n\xef\xbb\xbf" + _PLAIN,
    "half a byte-order mark": b"\xef\xbb" + _PLAIN,
    "UTF-8 without a byte-order mark": _name("Zürich".encode()),
}

_DBO_SOURCE = ("BrantwellSource", "bw_reader", "dbo.")
_WHOLE_DESTINATION = ("BrantwellDestination", "bw_migrator", "public.")
_NOTHING = ("", "", "")
_PUBLIC = ("", "", "public.")

# The readers differ about these: the file, then what each reads of the source and of the destination. Texts are in
# Latin-1, so that each letter is a byte.
DIFFERENT = {
    "brackets behind a header": {
        "file": _header(b"[DBSource] ; see [1]"),
        "linux": (_DBO_SOURCE, _WHOLE_DESTINATION),
        "wine": (_NOTHING, _WHOLE_DESTINATION),
    },
    "two closing brackets": {
        "file": _header(b"[DBSource]]"),
        "linux": (_DBO_SOURCE, _WHOLE_DESTINATION),
        "wine": (_NOTHING, _WHOLE_DESTINATION),
    },
    "header without its closing bracket": {
        "file": _header(b"[DBSource"),
        "linux": (_DBO_SOURCE, _WHOLE_DESTINATION),
        "wine": (_NOTHING, _WHOLE_DESTINATION),
    },
    "other header without its closing bracket": {
        "file": _source(b"[Other\ndb_schema=dbo"),
        "linux": (_NOTHING, _PUBLIC),
        "wine": (("", "", "dbo."), _PUBLIC),
    },
    "name without an equals sign in front of the same": {
        "file": _source(b"db_schema\ndb_schema=dbo"),
        "linux": (("", "", "dbo."), _PUBLIC),
        "wine": (_NOTHING, _PUBLIC),
    },
    "1023 letters in quotes": {
        "file": _name(b'"' + b"x" * 1022 + b'y"'),
        "linux": (("x" * 1022 + "y", "", "dbo."), _PUBLIC),
        "wine": (("x" * 1022, "", "dbo."), _PUBLIC),
    },
    "byte-order mark and letters beyond ASCII": {
        "file": b"\xef\xbb\xbf" + _name("Zürich".encode()),
        "linux": (("Z\xc3\xbcrich", "", "dbo."), _PUBLIC),
        "wine": (("Z\xfcrich", "", "dbo."), _PUBLIC),
    },
    "UTF-16, lower byte first": {
        "file": b"\xff\xfe" + _PLAIN.decode().encode("utf-16-le"),
        "linux": (_NOTHING, _NOTHING),
        "wine": (_DBO_SOURCE, _WHOLE_DESTINATION),
    },
    "UTF-16, higher byte first": {
        "file": b"\xfe\xff" + _PLAIN.decode().encode("utf-16-be"),
        "linux": (_NOTHING, _NOTHING),
        "wine": (_DBO_SOURCE, _WHOLE_DESTINATION),
    },
}

_HEADERS = (b"[DBSource]", b"[dbsource]", b"[DBDestination]", b"[DBDESTINATION]", b"[Other]", b"[]", b"[ DBSource\t]")
_KEYS = (b"db_connection_name", b"db_connection_login", b"db_schema", b"DB_Schema", b"Db_Connection_Name", b"other")
_BLANKS = (b"", b"", b"", b" ", b"\t", b"  ", b"\v", b"\f", b"\x1a")
_LINE_ENDS = (b"\n", b"\n", b"\r\n", b"\r", b"\n\n", b"\r\r\n")
_PIECES = (b"dbo", b"x", b" ", b"\t", b'"', b'"', b"'", b"'", b";", b"=", b"[", b"]", b".", b"\\", b"\0", b"\x1a", b"\x80")
_LETTERS = (*range(0x21, 0x7F), *range(0x80, 0x100))


class _Generator:
    """Makes files of everything that the readers agree about."""

    def __init__(self, seed: int):
        self._random = random.Random(seed)

    def file(self) -> bytes:
        content = b"\xef\xbb\xbf" if self._one_in(10) else b""
        if content:
            self._letters = range(0x21, 0x7F)
            self._pieces = tuple(piece for piece in _PIECES if piece < b"\x80")
        else:
            self._letters = _LETTERS
            self._pieces = _PIECES
        lines = self._random.randrange(20)
        for number in range(lines):
            content += self._choice(_BLANKS) + self._line(number) + self._choice(_BLANKS)
            if number < lines - 1 or self._one_in(2):
                content += self._choice(_LINE_ENDS)
        return content

    def _line(self, number: int) -> bytes:
        kind = self._random.randrange(8) if number else 0
        if kind < 2:
            return self._choice(_HEADERS) + self._choice((b"", b"", b" ; comment", b"x=1", b" ["))
        if kind == 2:
            return self._choice((b";", b"#", b"=", b"x")) + self._text()
        return self._choice(_KEYS) + self._choice(_BLANKS) + b"=" + self._choice(_BLANKS) + self._value()

    def _value(self) -> bytes:
        value = self._text()
        quote = self._choice((b"", b"", b'"', b"'"))
        if not quote and self._one_in(8):
            value += bytes(self._choice(self._letters) for _ in range(self._random.randrange(900, 1200)))
        return quote + value + quote

    def _text(self) -> bytes:
        return b"".join(
            self._choice(self._pieces) if self._one_in(2) else bytes((self._choice(self._letters),))
            for _ in range(self._random.randrange(8))
        )

    def _choice(self, choices):
        return choices[self._random.randrange(len(choices))]

    def _one_in(self, number: int) -> bool:
        return self._random.randrange(number) == 0


def generated(count: int) -> list[bytes]:
    """That many files, the same every time."""
    generator = _Generator(20240305)
    return [generator.file() for _ in range(count)]
