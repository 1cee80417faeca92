-- The code pages of the source's texts, by the collations of all columns. docs/encodings.md says what to do with them.

SELECT DISTINCT collation_name, COLLATIONPROPERTY(collation_name, 'CodePage') AS [code page]
FROM sys.columns WHERE collation_name IS NOT NULL;
go
