-- Creates the login that bw_db_migrate and bw_db_check read the source with. Run it as an administrator of the SQL
-- Server, in the Brantwell database. Put in the login, a password and the schema. If the schema is not dbo, the login
-- also needs the last statement: the schema version is read from dbo.
CREATE LOGIN [bw_reader] WITH PASSWORD = 'CHANGE THIS';
CREATE USER [bw_reader] FOR LOGIN [bw_reader];
GRANT SELECT ON SCHEMA::[dbo] TO [bw_reader];
GRANT SELECT ON OBJECT::[dbo].[SystemData] TO [bw_reader];
go
