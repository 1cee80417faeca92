-- What belongs to each group, in the order of the groups. The result is the same on both sides after a complete run.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT g."GroupCode",
       (SELECT count(*) FROM "Clients" c WHERE c."GroupID" = g."GroupID") AS clients,
       (SELECT count(*) FROM "GroupOrders" o WHERE o."GroupID" = g."GroupID") AS "group orders",
       (SELECT count(*) FROM "Orders" s JOIN "GroupOrders" o ON o."ID" = s."GroupOrderID"
        WHERE o."GroupID" = g."GroupID") AS orders,
       (SELECT count(*) FROM "GroupNegOrders" n WHERE n."GroupID" = g."GroupID") AS "group neg orders"
FROM "GroupDesc" g ORDER BY g."GroupID";
