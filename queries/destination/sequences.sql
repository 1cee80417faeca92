-- Sequences that do not count 1, 2, 3 ... This matters for SecGroups and RatingAgencies.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT sequencename, start_value, increment_by FROM pg_sequences
WHERE quote_ident(schemaname)::regnamespace = current_setting('search_path')::regnamespace
  AND (start_value <> 1 OR increment_by <> 1);
