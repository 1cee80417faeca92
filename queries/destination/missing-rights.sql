-- Rights, tables and procedures that the role of the migration lacks. Run it as that role. The result must be empty.

-- The schema of the migration, set here only.
SET search_path TO public;

WITH migrated (name) AS (
  VALUES ('SystemData'), ('GroupDesc'), ('Clients'), ('GroupOrders'), ('Orders'), ('SecGroups'), ('SecGrMemb'),
    ('SecMinQt'), ('ImportLog'), ('LoadedPositions'), ('RatingAgencies'), ('RatingScales'), ('LoadedSecurities'),
    ('LoadedSecuritiesClientPrices'), ('Restrictions'), ('PoolOrders'), ('OrdersInPool'), ('GroupStopOrders'),
    ('StopOrders'), ('GroupNegOrders'), ('NegOrders'), ('ExportOrder')),
tables AS (
  SELECT m.name, c.oid
  FROM migrated m
  LEFT JOIN pg_class c ON c.relname = m.name AND c.relnamespace = current_setting('search_path')::regnamespace)
SELECT 'USAGE on the schema' AS missing
WHERE NOT has_schema_privilege(current_setting('search_path')::regnamespace, 'USAGE')
UNION ALL SELECT 'table ' || name FROM tables WHERE oid IS NULL
UNION ALL SELECT 'TRUNCATE on ' || name FROM tables WHERE NOT has_table_privilege(oid, 'TRUNCATE')
UNION ALL SELECT 'INSERT on ' || name FROM tables WHERE NOT has_table_privilege(oid, 'INSERT')
UNION ALL
SELECT 'ownership of ' || s.relname
FROM tables t
JOIN pg_depend d ON d.refclassid = 'pg_class'::regclass AND d.refobjid = t.oid AND d.deptype IN ('a', 'i')
JOIN pg_class s ON d.classid = 'pg_class'::regclass AND s.oid = d.objid AND s.relkind = 'S'
WHERE NOT pg_has_role(s.relowner, 'USAGE')
UNION ALL
SELECT 'EXECUTE on ' || p.name
FROM (VALUES ('BW_CreateClientGroupEx'), ('BW_CreateGroupOrder'), ('BW_CreateOrder'), ('BW_CreateSecGroupEx'))
  AS p (name)
WHERE NOT EXISTS (
  SELECT 1 FROM pg_proc f
  WHERE f.proname = p.name AND f.pronamespace = current_setting('search_path')::regnamespace
    AND f.prokind = 'p' AND has_function_privilege(f.oid, 'EXECUTE'));
