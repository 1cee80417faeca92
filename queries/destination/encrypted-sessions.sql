-- The sessions of the database and their encryption.

SELECT a.pid, a.usename, s.ssl, s.version, s.cipher
FROM pg_stat_activity a JOIN pg_stat_ssl s ON s.pid = a.pid
WHERE a.datname = current_database() AND a.backend_type = 'client backend';
