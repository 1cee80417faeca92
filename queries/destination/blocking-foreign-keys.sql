-- Foreign keys that end the run with state 0A000: the table that they refer to is truncated without CASCADE. Drop them
-- for the run.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT k.conname, k.conrelid::regclass AS "from", k.confrelid::regclass AS "to"
FROM pg_constraint k JOIN pg_class c ON c.oid = k.confrelid
WHERE k.contype = 'f' AND k.conrelid <> k.confrelid AND c.relnamespace = current_setting('search_path')::regnamespace
  AND c.relname IN (
    'SystemData', 'Clients', 'Orders', 'SecGroups', 'SecGrMemb', 'SecMinQt', 'ImportLog', 'LoadedPositions',
    'RatingAgencies', 'RatingScales', 'LoadedSecuritiesClientPrices', 'Restrictions', 'OrdersInPool',
    'GroupStopOrders', 'StopOrders', 'GroupNegOrders', 'NegOrders', 'ExportOrder');
