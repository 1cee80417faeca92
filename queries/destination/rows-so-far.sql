-- The number of rows of each table since it was emptied, about a second late.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT relname, n_live_tup FROM pg_stat_user_tables
WHERE relid IN (SELECT oid FROM pg_class WHERE relnamespace = current_setting('search_path')::regnamespace)
ORDER BY relname;
