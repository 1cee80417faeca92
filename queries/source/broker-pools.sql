-- Values of ExportOrder.BrokerPoolID that are not a number up to 2147483647. Such a row ends the table, without a
-- message. Also listed is what FreeTDS accepts as a number: a sign, spaces around the digits, many leading zeros.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' broker-pools.sql

SELECT [ID], [BrokerPoolID] FROM [dbo].[ExportOrder]
WHERE DATALENGTH(
        REPLACE(REPLACE(REPLACE(REPLACE(REPLACE(REPLACE(REPLACE(REPLACE(REPLACE(REPLACE([BrokerPoolID],
        '0', ''), '1', ''), '2', ''), '3', ''), '4', ''), '5', ''), '6', ''), '7', ''), '8', ''), '9', '')) > 0
   OR DATALENGTH([BrokerPoolID]) > 10 OR (DATALENGTH([BrokerPoolID]) = 10 AND [BrokerPoolID] > '2147483647');
go
