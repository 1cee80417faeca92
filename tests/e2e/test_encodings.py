"""Letters beyond ASCII: the data-source settings with which they arrive, and what happens with others.

The program moves bytes. FreeTDS makes them from the source's code page in the encoding of ClientCharset, and PostgreSQL
takes them as its client encoding says. Texts are cut by bytes.
"""

import contextlib

import pytest

import data_sources
import expectations
import lab
import sample_data
import source
from migration import Migration, assert_destination

CYRILLIC = "Перевод, счёт № 5"
LATIN = "Übertrag, façade, 5 €"

# Code page of the source -> ClientCharset, client encoding.
SAME_AS_SOURCE = {
    "1251": ("CP1251", "SET client_encoding TO 'WIN1251'"),
    "1252": ("CP1252", "SET client_encoding TO 'WIN1252'"),
    "65001": ("UTF-8", "SET client_encoding TO 'UTF8'"),
}
UTF8 = "SET client_encoding TO 'UTF8'"


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces with texts in SystemData after the schema version, and with settings of the data sources.

    A setting that is None is left out.
    """

    def make(code_page, texts, client_charset, connection_settings):
        rows = [("dbver", "29")] + [(f"text{number}", text) for number, text in enumerate(texts, start=1)]
        workspace = new_workspace(rows, server_options=("--codepage", code_page))
        _set_encodings(workspace, client_charset, connection_settings)
        return workspace

    return make


def _set_encodings(workspace, client_charset, connection_settings, database=None) -> None:
    from_source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
    from_source["ClientCharset"] = client_charset
    to_destination = data_sources.postgresql(workspace.lab.postgres.port, database or workspace.database)
    to_destination["ConnSettings"] = connection_settings
    workspace.write_data_sources(
        *(
            {name: value for name, value in settings.items() if value is not None}
            for settings in (from_source, to_destination)
        )
    )


@pytest.fixture
def second_destination(shared_lab):
    """Makes a destination database in another encoding; its name is that of a workspace's and "_encoded"."""
    with contextlib.ExitStack() as stack:

        def make(workspace, encoding):
            name = f"{workspace.database}_encoded"
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


def _texts(workspace) -> list[str]:
    rows = workspace.query_destination('SELECT "KeyValue" FROM "SystemData" ORDER BY ctid')
    return [text for (text,) in rows[1:]]


def _assert_refused(workspace, run, error) -> None:
    """The run ended at a row of SystemData that PostgreSQL refused."""
    assert run.console == f"{expectations.PROMPTS}Start migrate SystemData table\n"
    assert workspace.log_file.read_bytes().decode(errors="replace").endswith(
        f" :: SQL Error: State = {error};\nError while executing the query"
    )
    assert run.errors == ""
    assert run.exit_code == 0


def _assert_complete(run, system_data) -> None:
    assert expectations.masked(run.console) == expectations.console(system_data)
    assert run.errors == ""
    assert run.exit_code == 0


@pytest.mark.parametrize(
    ("code_page", "letters", "client_charset", "connection_settings"),
    [
        ("1251", "cyrillic", "UTF-8", UTF8),
        ("1251", "cyrillic", *SAME_AS_SOURCE["1251"]),
        ("1252", "latin", "UTF-8", UTF8),
        ("1252", "latin", *SAME_AS_SOURCE["1252"]),
        ("65001", "cyrillic", *SAME_AS_SOURCE["65001"]),
    ],
)
def test_all_tables_arrive(new_workspace, code_page, letters, client_charset, connection_settings):
    workspace = new_workspace(
        system_data=(),
        fill=lambda path: sample_data.fill(path, letters=letters),
        server_options=("--codepage", code_page),
    )
    _set_encodings(workspace, client_charset, connection_settings)
    expected = Migration(workspace.source_file, client_charset)

    workspace.run()

    assert_destination(workspace, expected)
    log = expectations.masked(workspace.log_file.read_bytes().decode(client_charset))
    assert log == expectations.complete_log(expected.descriptions)


@pytest.mark.parametrize(
    ("code_page", "text"), [("1251", CYRILLIC), ("1252", LATIN), ("65001", CYRILLIC), ("65001", LATIN + " 中 🙂")]
)
def test_texts_arrive_through_utf8(new_source, code_page, text):
    workspace = new_source(code_page, [text], "UTF-8", UTF8)

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == [text]
    assert f"insert row(2): [KeyName] = text1, [KeyValue] = {text};\n" in workspace.log_file.read_text()


@pytest.mark.parametrize(("code_page", "text", "letter"), [("1251", CYRILLIC, "Щ"), ("1252", LATIN, "ü")])
def test_texts_of_any_length_arrive_through_the_code_page_of_the_source(new_source, code_page, text, letter):
    texts = [text, letter * 50, "a" + letter * 49]
    workspace = new_source(code_page, texts, *SAME_AS_SOURCE[code_page])
    # A text of one letter.
    source.insert(workspace.source_file, "GroupDesc", GroupID=1, disabled=letter)

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 4, "GroupDesc": 1})
    assert _texts(workspace) == texts
    assert workspace.query_destination('SELECT "disabled" FROM "GroupDesc"') == [(letter,)]
    # The log is in the same code page.
    log = workspace.log_file.read_bytes().decode(f"cp{code_page}")
    assert f"insert row(2): [KeyName] = text1, [KeyValue] = {text};\n" in log
    assert f"insert row(3): [KeyName] = text2, [KeyValue] = {letter * 50};\n" in log


def test_texts_that_fill_their_column_in_utf8_arrive_from_a_source_in_utf8(new_source):
    texts = ["Щ" * 25, "中" * 16 + "é"]
    workspace = new_source("65001", texts, *SAME_AS_SOURCE["65001"])

    run = workspace.run()

    _assert_complete(run, 3)
    assert _texts(workspace) == texts


def test_mode_of_a_restriction_is_the_number_of_its_bytes_in_the_client_charset(new_source):
    workspace = new_source("1251", [], *SAME_AS_SOURCE["1251"])
    source.insert(workspace.source_file, "Restrictions", ID=1, Mode="да")

    workspace.run()
    in_code_page = workspace.query_destination('SELECT "Mode" FROM "Restrictions"')
    _set_encodings(workspace, "UTF-8", UTF8)
    workspace.run()
    in_utf8 = workspace.query_destination('SELECT "Mode" FROM "Restrictions"')

    assert in_code_page == [(str(0x0000E0E4),)]
    assert in_utf8 == [(str(0xB0D0B4D0 - 2**32),)]


# In UTF-8 a letter of Windows-1251 takes two bytes and the euro sign three; a text that has no room for them is cut.


@pytest.mark.parametrize(("code_page", "text"), [("1251", "Щ" * 50), ("1252", "ü" * 50)])
def test_through_utf8_half_of_a_long_text_is_lost_without_notice(new_source, code_page, text):
    workspace = new_source(code_page, [text], "UTF-8", UTF8)

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == [text[:25]]


@pytest.mark.parametrize(
    ("code_page", "text", "byte"), [("1251", "a" + "Щ" * 49, "0xd0"), ("1252", "a" + "ü" * 49, "0xc3")]
)
def test_through_utf8_a_text_cut_within_a_letter_ends_the_run(new_source, code_page, text, byte):
    workspace = new_source(code_page, ["whole", text, "never read"], "UTF-8", UTF8)

    run = workspace.run()

    _assert_refused(
        workspace, run, f'22021 Code = 1 Message = ERROR: invalid byte sequence for encoding "UTF8": {byte}'
    )
    assert _texts(workspace) == ["whole"]


def test_through_utf8_a_text_of_one_letter_beyond_ascii_ends_the_run(new_source):
    workspace = new_source("1251", [], "UTF-8", UTF8)
    source.insert(workspace.source_file, "GroupDesc", GroupID=1, disabled="Щ")

    run = workspace.run()

    assert run.console.endswith("\nStart migrate GroupDesc table\n")
    assert workspace.log_file.read_text().endswith(
        'State = 22021 Code = 1 Message = ERROR: invalid byte sequence for encoding "UTF8": 0xd0;\n'
        "Error while executing the query"
    )


# Without ClientCharset, FreeTDS gives Latin-1, whatever the locale.


@pytest.mark.parametrize("locale", [None, "C.UTF-8"])
@pytest.mark.parametrize("connection_settings", [UTF8, None])
@pytest.mark.parametrize("code_page", ["1251", "65001"])
def test_without_client_charset_cyrillic_letters_become_question_marks(
    new_source, code_page, connection_settings, locale
):
    workspace = new_source(code_page, [CYRILLIC], None, connection_settings)
    if locale:
        workspace.environment["LC_ALL"] = locale

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == ["???????, ???? ? 5"]


@pytest.mark.parametrize("connection_settings", [UTF8, None])
def test_without_client_charset_western_letters_end_the_run(new_source, connection_settings):
    workspace = new_source("1252", [LATIN], None, connection_settings)

    run = workspace.run()

    _assert_refused(
        workspace, run, '22021 Code = 1 Message = ERROR: invalid byte sequence for encoding "UTF8": 0xdc 0x62'
    )


@pytest.mark.parametrize("encoding", ["LATIN1", "WIN1252"])
def test_without_client_charset_the_euro_sign_is_lost_even_in_western_encodings(new_source, encoding):
    workspace = new_source("1252", [LATIN], None, f"SET client_encoding TO '{encoding}'")

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == ["Übertrag, façade, 5 ?"]


# Without a client encoding, that of the destination database holds.


def test_without_client_encoding_utf8_arrives_in_a_database_in_utf8(new_source):
    workspace = new_source("1251", [CYRILLIC], "UTF-8", None)

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == [CYRILLIC]


@pytest.mark.parametrize(
    ("code_page", "text", "refused"), [("1251", CYRILLIC, "0xcf 0xe5"), ("1252", LATIN, "0xdc 0x62")]
)
@pytest.mark.parametrize("connection_settings", [UTF8, None])
def test_a_code_page_without_its_client_encoding_ends_the_run(
    new_source, code_page, text, refused, connection_settings
):
    workspace = new_source(code_page, [text], f"CP{code_page}", connection_settings)

    run = workspace.run()

    _assert_refused(
        workspace, run, f'22021 Code = 1 Message = ERROR: invalid byte sequence for encoding "UTF8": {refused}'
    )


def _migrate_to(workspace, database, client_charset, connection_settings):
    """Migrates to another database. Returns the run and the texts of SystemData."""
    _set_encodings(workspace, client_charset, connection_settings, database)
    run = workspace.run()
    connection = workspace.lab.postgres.connect(database)
    try:
        with connection.cursor() as cursor:
            cursor.execute('SELECT "KeyValue" FROM "SystemData" ORDER BY ctid OFFSET 1')
            return run, [text for (text,) in cursor.fetchall()]
    finally:
        connection.close()


# What a reader of Windows-1251 makes of the bytes of a text in UTF-8.
GARBLED = "РџРµСЂРµРІРѕРґ"


def test_without_client_encoding_utf8_is_garbled_in_a_database_in_a_code_page(new_source, second_destination):
    workspace = new_source("1251", ["Перевод"], "UTF-8", None)
    database = second_destination(workspace, "WIN1251")

    run, texts = _migrate_to(workspace, database, "UTF-8", None)

    _assert_complete(run, 2)
    assert texts == [GARBLED]


@pytest.mark.parametrize(
    ("client_charset", "connection_settings"), [("UTF-8", UTF8), SAME_AS_SOURCE["1251"], ("CP1251", None)]
)
def test_texts_arrive_in_a_database_in_a_code_page(
    new_source, second_destination, client_charset, connection_settings
):
    workspace = new_source("1251", [CYRILLIC], client_charset, connection_settings)
    database = second_destination(workspace, "WIN1251")

    run, texts = _migrate_to(workspace, database, client_charset, connection_settings)

    _assert_complete(run, 2)
    assert texts == [CYRILLIC]


def test_letters_that_the_database_lacks_end_the_run(new_source, second_destination):
    workspace = new_source("1252", [LATIN], "UTF-8", UTF8)
    database = second_destination(workspace, "WIN1251")

    run, texts = _migrate_to(workspace, database, "UTF-8", UTF8)

    _assert_refused(
        workspace,
        run,
        '22P05 Code = 1 Message = ERROR: character with byte sequence 0xc3 0x9c in encoding "UTF8"'
        ' has no equivalent in encoding "WIN1251"',
    )
    assert texts == []


def test_a_client_encoding_of_the_environment_garbles_texts(new_source):
    workspace = new_source("1251", ["Перевод"], "UTF-8", None)
    workspace.environment["PGCLIENTENCODING"] = "WIN1251"

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == [GARBLED]


def test_a_client_encoding_of_the_data_source_holds_against_the_environment(new_source):
    workspace = new_source("1251", [CYRILLIC], "UTF-8", UTF8)
    workspace.environment["PGCLIENTENCODING"] = "WIN1251"

    run = workspace.run()

    _assert_complete(run, 2)
    assert _texts(workspace) == [CYRILLIC]
