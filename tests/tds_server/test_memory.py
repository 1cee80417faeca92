"""The memory of the server."""


def test_does_not_grow_with_the_number_of_rows(server, connect):
    server.create_numbers(1_000_000)
    connection = connect(server)

    def read(count: int) -> int:
        statement = connection.execute(f"SELECT [Number], [Name] FROM dbo.[Numbers] WHERE [Number] <= {count}")
        rows = 0
        while statement.fetch():
            rows += 1
        statement.close()
        assert rows == count
        return server.peak_memory()

    after_few = read(10_000)
    after_many = read(1_000_000)
    # A million rows are 25 MB; SQLite's page cache may grow to its limit of 2 MB.
    assert after_many - after_few < 4 * 1024 * 1024
