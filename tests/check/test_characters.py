"""What bw_db_check before says of characters: which texts arrive with others, by the code page of the source's columns
and the settings of the two data sources.

Each prediction is held against a run.
"""

import contextlib

import pytest

import data_sources
import lab
import source
from checker import check

# Code page -> the source's ClientCharset and the destination's client encoding that agree with it.
OWN_SETTINGS = {
    "1250": ("CP1250", "WIN1250"),
    "1251": ("CP1251", "WIN1251"),
    "1252": ("CP1252", "WIN1252"),
    "1253": ("CP1253", "WIN1253"),
    "1254": ("CP1254", "WIN1254"),
    "1255": ("CP1255", "WIN1255"),
    "1256": ("CP1256", "WIN1256"),
    "1257": ("CP1257", "WIN1257"),
    "1258": ("CP1258", "WIN1258"),
    "932": ("CP932", "SJIS"),
    "936": ("CP936", "GBK"),
    "949": ("CP949", "UHC"),
    "950": ("CP950", "BIG5"),
    "65001": ("UTF-8", "UTF8"),
}
UTF8 = ("UTF-8", "UTF8")
ONE_BYTE = [page for page in OWN_SETTINGS if page.startswith("125")]

# Of code pages that are too large to be tried as a whole.
SAMPLES = {
    "932": "日本語、ｶﾅかな ～－∥①㈱Ⅳ 纊髙ЖΩ",
    "936": "中文简体，亲爱的 “引号”ЖΩ丂",
    "949": "한국어 뷁쀍，漢字ЖΩ㉠",
    "950": "中文繁體，「引號」 Ω裏",
    "65001": "ü Щ € ő ğ א س 中 日 한 🙂 𠀋 e\u0301",
}

COULD_NOT_TELL = "cannot-foresee"


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces whose SystemData holds texts with the keys k1, k2 …; a client charset that is None is left out."""

    def make(code_page, texts, settings, server_options=(), database=None, fill=None):
        rows = [("dbver", "29")] + [(f"k{number}", text) for number, text in enumerate(texts, start=1)]
        workspace = new_workspace(rows, fill, ("--codepage", code_page, *server_options))
        charset, encoding = settings
        from_source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        del from_source["ClientCharset"]
        if charset:
            from_source["ClientCharset"] = charset
        to_destination = data_sources.postgresql(workspace.lab.postgres.port, database or workspace.database)
        to_destination["ConnSettings"] = f"SET client_encoding TO '{encoding}'"
        workspace.write_data_sources(from_source, to_destination)
        return workspace

    return make


@pytest.fixture
def encoded_destination(shared_lab):
    """Makes a destination database in another encoding, and returns its name."""
    with contextlib.ExitStack() as stack:

        def make(encoding):
            name = f"characters_{encoding.lower()}"
            shared_lab.postgres.execute(
                f"CREATE DATABASE {name} OWNER {lab.DESTINATION_LOGIN} TEMPLATE template0"
                f" ENCODING '{encoding}' LOCALE 'C'"
            )
            stack.callback(shared_lab.postgres.execute, f"DROP DATABASE {name} WITH (FORCE)")
            shared_lab.postgres.execute(
                f"SET ROLE {lab.DESTINATION_LOGIN}", lab.DESTINATION_SCHEMA.read_text(), database=name
            )
            return name

        yield make


def _arrived(workspace) -> list[str]:
    """The texts of SystemData after a run, without the schema version."""
    workspace.run()
    return [text for (text,) in workspace.query_destination('SELECT "KeyValue" FROM "SystemData" ORDER BY ctid OFFSET 1')]


def _facts(result) -> list[str]:
    return [fact for fact in result.report["facts"] if fact.startswith("Characters ") or fact.startswith("Characters:")]


def _assert_all_same(result, rows) -> None:
    assert result.report is not None, result.errors
    assert result.findings() == []
    assert result.code == 0
    table = result.table("SystemData")
    assert (table["source_rows"], table["arriving_rows"], table["unchanged_rows"]) == (rows, rows, rows)


def _assert_complete(result, findings) -> None:
    assert result.report is not None, result.errors
    assert result.findings() == findings
    assert result.report["status"] == ("complete-with-changes" if findings else "complete")
    assert result.code == (1 if findings else 0)


@pytest.mark.parametrize("through_utf8", [False, True])
@pytest.mark.parametrize("code_page", ONE_BYTE)
def test_all_characters_of_a_code_page_arrive(new_source, code_page, through_utf8):
    texts = list(bytes(range(0x80, 0x100)).decode(f"cp{code_page}", errors="ignore"))
    workspace = new_source(code_page, texts, UTF8 if through_utf8 else OWN_SETTINGS[code_page])

    result = check(workspace, "before")

    _assert_all_same(result, len(texts) + 1)
    ((fact),) = _facts(result)
    assert fact.startswith(f"Characters of code page {code_page} (")
    assert f"): {len(texts)} of {len(texts)} beyond ASCII arrive as they are; each takes up to " in fact
    assert fact.endswith(("3 bytes" if through_utf8 else "1 byte") + " where texts are cut by bytes.")
    assert _arrived(workspace) == texts
    _assert_complete(check(workspace, "after"), [])


@pytest.mark.parametrize("through_utf8", [False, True])
@pytest.mark.parametrize("code_page", SAMPLES)
def test_characters_of_several_bytes_arrive(new_source, code_page, through_utf8):
    texts = SAMPLES[code_page].split() + ["a" + character + "z" for character in SAMPLES[code_page]]
    workspace = new_source(code_page, texts, UTF8 if through_utf8 else OWN_SETTINGS[code_page])

    result = check(workspace, "before")

    _assert_all_same(result, len(texts) + 1)
    ((fact),) = _facts(result)
    characters = len({character for character in SAMPLES[code_page] if character > "\x7f"})
    assert f"): {characters} of {characters} beyond ASCII in the texts arrive as they are; " in fact
    assert _arrived(workspace) == texts
    _assert_complete(check(workspace, "after"), [])


# Code page of the source, settings, and what becomes of each text.
GARBLED = [
    ("1252", (None, "LATIN1"), {"5 €": "5 ?", "Über": "Über", "5 ?": "5 ?", "plain": "plain", "ž": "?"}),
    ("1251", (None, "UTF8"), {"Перевод № 5": "??????? ? 5", "What?": "What?", "plain": "plain"}),
    ("1251", ("UTF-8", "WIN1251"), {"Щит": "Р©РёС‚", "plain": "plain"}),
    ("1251", ("CP1251", "WIN1253"), {"Ел": "Ελ", "1–2": "1–2"}),
    ("1250", ("CP1250", "WIN1252"), {"ąő": "¹õ", "é": "é"}),
    ("1252", ("CP1252", "WIN1250"), {"¹õ": "ąő", "é": "é"}),
    ("1253", ("CP1253", "WIN1251"), {"Ελ": "Ел", "µ": "µ"}),
    ("1254", ("CP1254", "WIN1252"), {"ğış": "ðýþ", "ü": "ü"}),
    ("1255", ("CP1255", "WIN1251"), {"שלום": "щмен", "₪": "¤", "plain": "plain"}),
    ("1256", ("CP1256", "WIN1252"), {"سلام": "ÓáÇã", "é": "é"}),
    ("1257", ("CP1257", "WIN1252"), {"ąč": "àè", "é": "é"}),
    ("1258", ("CP1258", "WIN1252"), {"đ": "ð", "é": "é"}),
    # The driver joins a letter and its accent to one character; a mark that has nothing to join stays.
    ("1258", UTF8, {"a\u0301": "\u00e1", "\u00e1": "\u00e1", "x\u0301": "x\u0301", "đ": "đ"}),
    ("1255", UTF8, {"\u05e9\u05c1": "\ufb2a", "\u05e9": "\u05e9"}),
    ("932", ("CP932", "WIN1252"), {"日本": "“ú–{", "plain": "plain"}),
    ("932", ("EUC-JP", "EUC_JP"), {"日本": "日本", "①": "?"}),
    ("936", ("CP936", "UHC"), {"中文": "櫓匡", "plain": "plain"}),
    # The settings agree, but the driver's own conversion lacks the character.
    ("936", UTF8, {"5 €": "5 ?", "中文": "中文", "5 ?": "5 ?"}),
    ("949", ("CP949", "GBK"), {"한국": "茄惫", "plain": "plain"}),
    ("950", ("CP950", "GBK"), {"中文": "いゅ", "plain": "plain"}),
    ("65001", ("UTF-8", "WIN1252"), {"ü": "Ã¼", "plain": "plain"}),
    ("65001", (None, "UTF8"), {"Щ 中 🙂 e\u0301": "? ? ? e?", "What?": "What?"}),
    # What becomes of ASCII is asked too.
    ("949", ("JOHAB", "JOHAB"), {"C:\\~": "C:?~", "plain": "plain"}),
    ("932", ("SJIS", "SJIS"), {"¥": "\\", "C:\\~": "C:\\~", "日本": "日本"}),
    # Bytes that are no characters one by one may be one together.
    ("1251", ("CP1251", "UTF8"), {"Рё": "и", "plain": "plain"}),
]


@pytest.mark.parametrize("code_page, settings, texts", GARBLED)
def test_garbled_texts_are_found_and_no_others(new_source, code_page, settings, texts):
    workspace = new_source(code_page, list(texts), settings)
    changed = [(f"KeyName = k{n}", each) for n, each in enumerate(texts.items(), start=1) if each[0] != each[1]]

    result = check(workspace, "before")

    assert result.report is not None, result.errors
    keys = [key for key, _ in changed]
    assert result.findings() == [("SystemData", "character-changed", "KeyValue", len(changed), keys)]
    table = result.table("SystemData")
    assert table["findings"][0]["cost"] == "value-changed"
    assert table["findings"][0]["arrives"] == [f"'{text}' arrives as '{arrives}'" for _, (text, arrives) in changed]
    assert (table["arriving_rows"], table["refused_rows"]) == (len(texts) + 1, 0)
    assert table["unchanged_rows"] == len(texts) + 1 - len(changed)
    assert _arrived(workspace) == list(texts.values())
    _assert_complete(check(workspace, "after"), [("SystemData", "character-changed", "KeyValue", len(changed), keys)])


# What becomes of the keys is part of it: after the first character that the driver cannot convert, it gives question
# marks for all later texts.
@pytest.mark.parametrize("code_page, character", [("1258", "đ"), ("1255", "ש")])
def test_a_driver_that_loses_its_way_is_followed(new_source, code_page, character):
    workspace = new_source(code_page, [], (None, "WIN1252"))
    rows = [("one", "plain"), ("three", character), ("seventh", "plain")]
    workspace.execute_source("INSERT INTO SystemData (KeyName, KeyValue) VALUES (?, ?)", rows)

    result = check(workspace, "before")

    assert result.findings() == [
        ("SystemData", "character-changed", "KeyName", 1, ["KeyName = seventh"]),
        ("SystemData", "character-changed", "KeyValue", 2, ["KeyName = three", "KeyName = seventh"]),
    ]
    assert [finding["arrives"] for finding in result.table("SystemData")["findings"]] == [
        ["'seventh' arrives as '???????'"],
        [f"'{character}' arrives as ''", "'plain' arrives as '?????'"],
    ]
    ((fact),) = _facts(result)
    assert "after that it converts all later texts to question marks or others" in fact
    workspace.run()
    assert workspace.query_destination('SELECT "KeyName", "KeyValue" FROM "SystemData" ORDER BY ctid OFFSET 1') == [
        ("one", "plain"),
        ("three", ""),
        ("???????", "?????"),
    ]


def test_rows_that_are_refused_are_not_garbled(new_source):
    workspace = new_source("1252", ["5 €", "Über", "plain", "5 ?", "7 € Öl"], (None, "UTF8"))

    result = check(workspace, "before")

    assert result.findings() == [
        ("SystemData", "character-refused", "KeyValue", 2, ["KeyName = k2", "KeyName = k5"]),
        ("SystemData", "character-changed", "KeyValue", 1, ["KeyName = k1"]),
    ]
    assert result.report["run_ends_in"] == "SystemData"
    ((fact),) = _facts(result)
    assert "0 of 123 beyond ASCII arrive as they are; " in fact
    assert " Changed: Œ as ?, œ as ?, Š as ?, " in fact
    assert " Refused by the destination: U+00A0, ¡, ¢, £, " in fact
    assert fact.endswith("ClientCharset of the source, client_encoding of the destination.")
    assert _arrived(workspace) == ["5 ?"]


def test_columns_have_code_pages_of_their_own(new_source):
    def fill(path):
        source.insert(path, "GroupDesc", GroupID=1, disabled="0")
        source.insert(path, "Clients", GroupID=1, ClientCode="A", Comment="Перевод")
        source.insert(path, "Clients", GroupID=1, ClientCode="Ü", Comment="plain")

    collation = ("--collation", "Clients.Comment:Cyrillic_General_CI_AS")
    workspace = new_source("1252", [], OWN_SETTINGS["1252"], collation, fill=fill)

    result = check(workspace, "before")

    assert result.findings() == [
        ("Clients", "character-changed", "Comment", 1, ["GroupID = 1, ClientCode = A"]),
    ]
    assert [fact[: fact.index(":")] for fact in _facts(result)] == [
        "Characters of code page 1251 (Cyrillic_General_CI_AS)",
        "Characters of code page 1252 (SQL_Latin1_General_CP1_CI_AS)",
    ]
    workspace.run()
    assert workspace.query_destination('SELECT "ClientCode", "Comment" FROM "Clients" ORDER BY ctid') == [
        ("A", "???????"),
        ("Ü", "plain"),
    ]


def test_keys_are_shown_in_their_own_characters(new_source):
    def fill(path):
        source.insert(path, "GroupDesc", GroupID=1, disabled="0")
        source.insert(path, "Clients", GroupID=1, ClientCode="Щ1", Comment="ё")

    result = check(new_source("1251", [], (None, "UTF8"), fill=fill), "before")

    key = ["GroupID = 1, ClientCode = Щ1"]
    assert result.findings() == [
        ("Clients", "character-changed", "ClientCode", 1, key),
        ("Clients", "character-changed", "Comment", 1, key),
    ]
    assert result.table("Clients")["unchanged_rows"] == 0


def test_only_what_arrives_of_a_text_counts(new_source):
    def fill(path):
        source.insert(path, "GroupDesc", GroupID=1, disabled="0")
        # Of the comment, 50 bytes are migrated.
        source.insert(path, "Clients", GroupID=1, ClientCode="A", Comment="x" * 50 + "€")
        source.insert(path, "Clients", GroupID=1, ClientCode="B", Comment="x" * 49 + "€€")
        source.insert(path, "Clients", GroupID=1, ClientCode="C", Comment="x" * 49 + "€")

    result = check(new_source("1252", [], (None, "LATIN1"), fill=fill), "before")

    client = "GroupID = 1, ClientCode = "
    assert result.findings() == [
        ("Clients", "character-changed", "Comment", 2, [client + "B", client + "C"]),
        ("Clients", "text-cut", "Comment", 2, [client + "A", client + "B"]),
    ]


def test_all_rows_are_counted_and_five_are_shown(new_source):
    result = check(new_source("1251", ["plain"] + ["Ж"] * 7, (None, "UTF8")), "before")

    keys = [f"KeyName = k{number}" for number in (2, 3, 4, 5, 6)]
    assert result.findings() == [("SystemData", "character-changed", "KeyValue", 7, keys)]
    (finding,) = result.table("SystemData")["findings"]
    assert finding["arrives"] == ["'Ж' arrives as '?'"] * 5
    assert result.table("SystemData")["unchanged_rows"] == 2


def test_the_query_shows_the_rows(new_source):
    workspace = new_source("65001", ["plain", "5 €", "€ 🙂", "🙂", "ü"], ("CP1252", "WIN1252"))

    (finding,) = check(workspace, "before").table("SystemData")["findings"]

    assert finding["keys"] == ["KeyName = k3", "KeyName = k4"]
    assert finding["query"] == {
        "side": "source",
        "text": "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData] WHERE PATINDEX(CONCAT('%', NCHAR(55357), NCHAR(56898),"
        " '%'), CONVERT(nvarchar(100), [KeyValue]) COLLATE Latin1_General_BIN2) > 0;",
    }


def test_texts_in_utf16_are_compared_too(new_source):
    def fill(path):
        lab.execute_on_file(path, "DROP TABLE RatingAgencies", ((),))
        lab.execute_on_file(
            path,
            "CREATE TABLE RatingAgencies (AgencyID int NOT NULL, AgencyCode varchar(20) NOT NULL,"
            " AgencyName nvarchar(128) NOT NULL)",
            ((),),
        )
        rows = [(1, "A", "中 Ж 🙂"), (2, "B", "plain ?")]
        lab.execute_on_file(path, "INSERT INTO RatingAgencies VALUES (?, ?, ?)", rows)

    right = check(new_source("1252", [], UTF8, fill=fill), "before")
    wrong = check(new_source("1252", [], OWN_SETTINGS["1252"], fill=fill), "before")

    assert right.findings() == []
    assert "Characters of texts in UTF-16: 3 of 3 beyond ASCII in the texts arrive as they are; " in _facts(right)[0]
    assert wrong.findings() == [("RatingAgencies", "character-changed", "AgencyName", 1, ["AgencyID = 1"])]


@pytest.mark.parametrize("settings", [("CP1252", "SQL_ASCII"), ("CP1252", "WIN1252")])
def test_a_database_that_knows_no_characters_cannot_be_asked(new_source, encoded_destination, settings):
    texts = ["Über", "plain", "5 ?"]
    result = check(new_source("1252", texts, settings, database=encoded_destination("SQL_ASCII")), "before")

    assert result.findings() == [("SystemData", COULD_NOT_TELL, "KeyValue", 1, ["KeyName = k1"])]
    table = result.table("SystemData")
    assert (table["source_rows"], table["arriving_rows"], table["unchanged_rows"]) == (4, 4, None)
    assert result.report["status_line"].endswith(", as far as can be foreseen")


def test_what_the_driver_lost_is_known_even_there(new_source, encoded_destination):
    database = encoded_destination("SQL_ASCII")
    result = check(new_source("1251", ["Ж", "plain"], (None, "SQL_ASCII"), database=database), "before")

    assert result.findings() == [("SystemData", "character-changed", "KeyValue", 1, ["KeyName = k1"])]
    assert result.table("SystemData")["unchanged_rows"] == 2


@pytest.mark.parametrize("database_encoding", ["WIN1251", "EUC_JP", "LATIN1"])
def test_databases_in_other_encodings_are_asked_for_characters(new_source, encoded_destination, database_encoding):
    database = encoded_destination(database_encoding)
    result = check(new_source("1251", ["plain", "Ж №"], UTF8, database=database), "before")

    refused = [("SystemData", "character-refused", "KeyValue", 1, ["KeyName = k2"])]
    assert result.findings() == (refused if database_encoding == "LATIN1" else [])


# Of a source that does not have the functions of Transact-SQL, the driver's texts in UTF-16 are all there is.


def test_a_source_without_functions_is_read_in_utf16(new_source):
    texts = ["Перевод", "plain", "x"]
    none = ("--functions", "none")

    right = check(new_source("1251", texts, OWN_SETTINGS["1251"], none), "before")
    wrong = check(new_source("1251", texts, (None, "UTF8"), none), "before")

    assert right.findings() == []
    assert right.table("SystemData")["unchanged_rows"] == 4
    assert _facts(right)[0].startswith("Characters: the source cannot be asked for them. ")
    assert wrong.findings() == [("SystemData", "character-changed", "KeyValue", 1, ["KeyName = k1"])]
    assert wrong.table("SystemData")["findings"][0]["arrives"] == ["'Перевод' arrives as '???????'"]


def test_a_question_mark_of_a_source_without_functions_may_be_the_drivers(new_source):
    result = check(new_source("1251", ["What?", "plain"], UTF8, ("--functions", "none")), "before")

    assert result.findings() == [("SystemData", COULD_NOT_TELL, "KeyValue", 1, ["KeyName = k1"])]
    assert result.table("SystemData")["unchanged_rows"] is None
