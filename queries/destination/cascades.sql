-- Tables that a TRUNCATE ... CASCADE of the run empties. No row may show "stays empty": such a table is not filled
-- again.

-- The schema of the migration, set here only.
SET search_path TO public;

WITH RECURSIVE migrated (name, place) AS (
  SELECT * FROM unnest(ARRAY[
    'SystemData', 'GroupDesc', 'Clients', 'GroupOrders', 'Orders', 'SecGroups', 'SecGrMemb', 'SecMinQt', 'ImportLog',
    'LoadedPositions', 'RatingAgencies', 'RatingScales', 'LoadedSecurities', 'LoadedSecuritiesClientPrices',
    'Restrictions', 'PoolOrders', 'OrdersInPool', 'GroupStopOrders', 'StopOrders', 'GroupNegOrders', 'NegOrders',
    'ExportOrder']) WITH ORDINALITY),
emptied (root, place, oid) AS (
  SELECT m.name, m.place, c.oid
  FROM migrated m
  JOIN pg_class c ON c.relname = m.name AND c.relnamespace = current_setting('search_path')::regnamespace
  WHERE m.name IN ('GroupDesc', 'GroupOrders', 'LoadedSecurities', 'PoolOrders')
  UNION
  SELECT e.root, e.place, k.conrelid FROM emptied e JOIN pg_constraint k ON k.contype = 'f' AND k.confrelid = e.oid)
SELECT e.root AS emptying, c.relname AS empties,
       CASE WHEN m.place > e.place THEN 'filled afterwards' ELSE 'stays empty' END AS then
FROM emptied e
JOIN pg_class c ON c.oid = e.oid
LEFT JOIN migrated m ON m.name = c.relname AND c.relnamespace = current_setting('search_path')::regnamespace
WHERE m.name IS DISTINCT FROM e.root
ORDER BY e.place, c.relname;
