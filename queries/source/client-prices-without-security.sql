-- Client prices whose security does not exist. Each row ends the run with state 23503 if the destination has that
-- foreign key.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' client-prices-without-security.sql

SELECT [ClientID], [SecID] FROM [dbo].[LoadedSecuritiesClientPrices] p
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[LoadedSecurities] s WHERE s.[SecID] = p.[SecID]);
go
