-- References that lead to no row. The result is empty when the source has none and no number has changed. A reference
-- that leads to the wrong row is not listed: references-that-change.sql of the source finds it.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT 'Clients' AS "table", "GroupID" AS reference, count(*) AS rows FROM "Clients" c
WHERE NOT EXISTS (SELECT 1 FROM "GroupDesc" g WHERE g."GroupID" = c."GroupID") GROUP BY 2
UNION ALL
SELECT 'GroupOrders', "GroupID", count(*) FROM "GroupOrders" o
WHERE NOT EXISTS (SELECT 1 FROM "GroupDesc" g WHERE g."GroupID" = o."GroupID") GROUP BY 2
UNION ALL
SELECT 'Orders', "GroupOrderID", count(*) FROM "Orders" s
WHERE NOT EXISTS (SELECT 1 FROM "GroupOrders" o WHERE o."ID" = s."GroupOrderID") GROUP BY 2
UNION ALL
SELECT 'GroupNegOrders', "GroupID", count(*) FROM "GroupNegOrders" n
WHERE NOT EXISTS (SELECT 1 FROM "GroupDesc" g WHERE g."GroupID" = n."GroupID") GROUP BY 2
UNION ALL
SELECT 'SecGrMemb', "GroupID", count(*) FROM "SecGrMemb" m
WHERE NOT EXISTS (SELECT 1 FROM "SecGroups" g WHERE g."ID" = m."GroupID") GROUP BY 2
UNION ALL
SELECT 'Restrictions, SecGroupID', "SecGroupID", count(*) FROM "Restrictions" r
WHERE "SecGroupID" > 0 AND NOT EXISTS (SELECT 1 FROM "SecGroups" g WHERE g."ID" = r."SecGroupID") GROUP BY 2
UNION ALL
SELECT 'Restrictions, CoSecGroupID', "CoSecGroupID", count(*) FROM "Restrictions" r
WHERE "CoSecGroupID" > 0 AND NOT EXISTS (SELECT 1 FROM "SecGroups" g WHERE g."ID" = r."CoSecGroupID") GROUP BY 2
UNION ALL
SELECT 'RatingScales', "AgencyID", count(*) FROM "RatingScales" s
WHERE NOT EXISTS (SELECT 1 FROM "RatingAgencies" a WHERE a."AgencyID" = s."AgencyID") GROUP BY 2
UNION ALL
SELECT 'LoadedSecuritiesClientPrices', "SecID", count(*) FROM "LoadedSecuritiesClientPrices" p
WHERE NOT EXISTS (SELECT 1 FROM "LoadedSecurities" s WHERE s."SecID" = p."SecID") GROUP BY 2
UNION ALL
SELECT 'OrdersInPool', "PoolID", count(*) FROM "OrdersInPool" o
WHERE NOT EXISTS (SELECT 1 FROM "PoolOrders" p WHERE p."PoolID" = o."PoolID") GROUP BY 2;
