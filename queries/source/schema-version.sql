-- The schema version. The result must be one row with 29. bw_db_migrate reads it from dbo, whatever schema is
-- configured.

SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';
go
