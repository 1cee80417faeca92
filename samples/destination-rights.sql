-- Creates the role that bw_db_migrate and bw_db_check use on the destination. Run it with psql as an administrator, in the
-- Brantwell database: psql -d brantwell -f destination-rights.sql
-- Put in the names; `owner` is the role that owns the 22 tables and the four procedures.
\set role bw_migrator
\set owner brantwell
\set schema public
\set ON_ERROR_STOP on

-- A member of the owner may empty the tables, restart their sequences and call the procedures.
CREATE ROLE :"role" LOGIN IN ROLE :"owner";
GRANT CONNECT, TEMPORARY ON DATABASE :"DBNAME" TO :"role";
GRANT USAGE ON SCHEMA :"schema" TO :"role";

-- Then give it a password: \password bw_migrator
