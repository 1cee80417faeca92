-- Texts that arrive shortened. The numbers are bytes in the code page of the column. ExportOrder.BrokerPoolID is not
-- listed: it is read as a number.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' cut-texts.sql

SELECT 'SystemData' AS [table], [KeyName] FROM [dbo].[SystemData]
WHERE DATALENGTH([KeyName]) > 20 OR DATALENGTH([KeyValue]) > 50;

SELECT 'GroupDesc' AS [table], [GroupID] FROM [dbo].[GroupDesc]
WHERE DATALENGTH([GroupCode]) > 64 OR DATALENGTH([GroupName]) > 255 OR DATALENGTH([disabled]) > 1
   OR DATALENGTH([Mode]) > 10;

SELECT 'Clients' AS [table], [GroupID], [ClientCode] FROM [dbo].[Clients]
WHERE DATALENGTH([ClientCode]) > 20 OR DATALENGTH([Comment]) > 50;

SELECT 'GroupOrders' AS [table], [ID] FROM [dbo].[GroupOrders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([Status]) > 1 OR DATALENGTH([Result]) > 1 OR DATALENGTH([Flags]) > 10
   OR DATALENGTH([BWSessionID]) > 40;

SELECT 'Orders' AS [table], [OrderID] FROM [dbo].[Orders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([ClientCode]) > 12 OR DATALENGTH([TrdAcc]) > 12 OR DATALENGTH([Status]) > 1
   OR DATALENGTH([Result]) > 1 OR DATALENGTH([BWSessionID]) > 40;

SELECT 'SecGroups' AS [table], [ID] FROM [dbo].[SecGroups]
WHERE DATALENGTH([SecGCode]) > 64 OR DATALENGTH([SecGName]) > 255 OR DATALENGTH([disabled]) > 1
   OR DATALENGTH([Filter]) > 10 OR DATALENGTH([mode]) > 10;

SELECT 'SecGrMemb' AS [table], [GroupID], [MembType], [MembCode], [MembClass], [MembID] FROM [dbo].[SecGrMemb]
WHERE DATALENGTH([MembType]) > 1 OR DATALENGTH([MembCode]) > 20 OR DATALENGTH([MembClass]) > 20;

SELECT 'SecMinQt' AS [table], [ClassCode], [SecCode] FROM [dbo].[SecMinQt]
WHERE DATALENGTH([ClassCode]) > 12 OR DATALENGTH([SecCode]) > 12;

SELECT 'ImportLog' AS [table], [ID] FROM [dbo].[ImportLog]
WHERE DATALENGTH([ImportType]) > 32 OR DATALENGTH([BWSessionID]) > 40;

SELECT 'LoadedPositions' AS [table], [PosID] FROM [dbo].[LoadedPositions]
WHERE DATALENGTH([FirmID]) > 12 OR DATALENGTH([ActiveCode]) > 12 OR DATALENGTH([ClientCode]) > 12;

SELECT 'RatingAgencies' AS [table], [AgencyID] FROM [dbo].[RatingAgencies]
WHERE DATALENGTH([AgencyCode]) > 20 OR DATALENGTH([AgencyName]) > 128;

SELECT 'RatingScales' AS [table], [RatingID] FROM [dbo].[RatingScales]
WHERE DATALENGTH([Rating]) > 20;

SELECT 'LoadedSecurities' AS [table], [SecID] FROM [dbo].[LoadedSecurities]
WHERE DATALENGTH([SecCode]) > 12 OR DATALENGTH([SecName]) > 16 OR DATALENGTH([SecStyle]) > 16
   OR DATALENGTH([SecType]) > 32;

SELECT 'LoadedSecuritiesClientPrices' AS [table], [ClientID], [SecID] FROM [dbo].[LoadedSecuritiesClientPrices]
WHERE DATALENGTH([Code]) > 12;

SELECT 'Restrictions' AS [table], [ID] FROM [dbo].[Restrictions]
WHERE DATALENGTH([RestType]) > 1 OR DATALENGTH([Client]) > 20 OR DATALENGTH([Mode]) > 10
   OR DATALENGTH([disabled]) > 1 OR DATALENGTH([BWSessionID]) > 40 OR DATALENGTH([RestrCode]) > 12
   OR DATALENGTH([RestrName]) > 50;

SELECT 'PoolOrders' AS [table], [PoolID] FROM [dbo].[PoolOrders]
WHERE DATALENGTH([BrokerPoolID]) > 32 OR DATALENGTH([PoolName]) > 128 OR DATALENGTH([Source]) > 250
   OR DATALENGTH([Status]) > 50;

SELECT 'OrdersInPool' AS [table], [OrderID] FROM [dbo].[OrdersInPool]
WHERE DATALENGTH([OrderType]) > 1 OR DATALENGTH([ClientCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([Comment]) > 20;

SELECT 'GroupStopOrders' AS [table], [ID] FROM [dbo].[GroupStopOrders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([ASecCode]) > 12 OR DATALENGTH([AClassCode]) > 12 OR DATALENGTH([Status]) > 1
   OR DATALENGTH([Result]) > 1;

SELECT 'StopOrders' AS [table], [OrderID] FROM [dbo].[StopOrders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([ASecCode]) > 12 OR DATALENGTH([AClassCode]) > 12 OR DATALENGTH([ClientCode]) > 12
   OR DATALENGTH([Status]) > 1 OR DATALENGTH([Result]) > 1 OR DATALENGTH([TrdAcc]) > 12;

SELECT 'GroupNegOrders' AS [table], [ID] FROM [dbo].[GroupNegOrders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([SecCode]) > 12 OR DATALENGTH([ClassCode]) > 12
   OR DATALENGTH([CPFirmID]) > 12 OR DATALENGTH([SettleCode]) > 12 OR DATALENGTH([MatchRef]) > 10
   OR DATALENGTH([Status]) > 1 OR DATALENGTH([Result]) > 1 OR DATALENGTH([BWSessionID]) > 40;

SELECT 'NegOrders' AS [table], [OrderId] FROM [dbo].[NegOrders]
WHERE DATALENGTH([Buy]) > 1 OR DATALENGTH([ClassCode]) > 12 OR DATALENGTH([SecCode]) > 12
   OR DATALENGTH([ClientCode]) > 12 OR DATALENGTH([TrdAcc]) > 12 OR DATALENGTH([CPFirmId]) > 12
   OR DATALENGTH([SettleCode]) > 12 OR DATALENGTH([MatchRef]) > 10 OR DATALENGTH([Status]) > 1
   OR DATALENGTH([Result]) > 1 OR DATALENGTH([BWSessionID]) > 40;

SELECT 'ExportOrder' AS [table], [ID] FROM [dbo].[ExportOrder]
WHERE DATALENGTH([UserGroupCode]) > 64 OR DATALENGTH([ClientCode]) > 12 OR DATALENGTH([TrdAcc]) > 12
   OR DATALENGTH([Buy]) > 1 OR DATALENGTH([ML]) > 1 OR DATALENGTH([ClassCode]) > 12 OR DATALENGTH([SecCode]) > 12;
go
