#!/usr/bin/perl
# What a user would write: the same tables with DBI and DBD::ODBC, each row selected, inserted by a prepared statement
# or created by the procedure, and committed for itself.
#
#   plain_script.pl SOURCE LOGIN DESTINATION LOGIN    the passwords, one per line, come from standard input
#
# Prints the name, the number of rows and the milliseconds of each table.
use strict;
use warnings;

use DBI qw(:sql_types);
use Time::HiRes qw(time);

die "usage: plain_script.pl SOURCE LOGIN DESTINATION LOGIN\n" unless @ARGV == 4;
my ($source_name, $source_login, $destination_name, $destination_login) = @ARGV;
chomp(my $source_password      = <STDIN>);
chomp(my $destination_password = <STDIN>);
$| = 1;

my %options     = (AutoCommit => 1, RaiseError => 1, PrintError => 0);
my $source      = DBI->connect("dbi:ODBC:$source_name", $source_login, $source_password, \%options);
my $destination = DBI->connect("dbi:ODBC:$destination_name", $destination_login, $destination_password, \%options);

# Calls write_row with each row of a table.
sub migrate {
    my ($table, $columns, $truncate_end, $write_row) = @_;
    $destination->do("TRUNCATE public.\"$table\" RESTART IDENTITY$truncate_end");
    my $start = time;
    my $read  = $source->prepare('SELECT ' . join(', ', map {"[$_]"} @$columns) . " FROM dbo.[$table]");
    $read->execute;
    my $rows = 0;
    while (my $row = $read->fetchrow_arrayref) {
        $write_row->($row);
        $rows++;
    }
    printf "%s %d %d\n", $table, $rows, (time - $start) * 1000;
}

# Inserts rows, of which one column may be cut to a width.
sub insert_rows {
    my ($table, $columns, $cut, $width) = @_;
    my $write = $destination->prepare("INSERT INTO public.\"$table\" ("
            . join(', ', map {"\"$_\""} @$columns)
            . ') VALUES ('
            . join(', ', ('?') x @$columns)
            . ')');
    migrate($table, $columns, '', sub {
        my ($row) = @_;
        my @values = @$row;
        $values[$cut] = substr $values[$cut], 0, $width if defined $cut;
        $write->execute(@values);
    });
}

# Creates rows by a procedure that takes the named columns and returns new values. The first new value is recorded in
# $created under the first column; the column $reference is translated by %$referred.
sub call_for_rows {
    my ($table, $columns, $procedure, $inputs, $outputs, $created, $reference, $referred) = @_;
    my %position = map { $columns->[$_] => $_ } 0 .. $#$columns;
    my $call     = $destination->prepare(
        "CALL public.\"$procedure\"(" . join(', ', ('?') x (@$inputs + $outputs)) . ')');
    my @new = (0) x $outputs;
    $call->bind_param_inout(@$inputs + $_, \$new[$_ - 1], 12, SQL_INTEGER) for 1 .. $outputs;
    migrate($table, $columns, $created ? ' CASCADE' : '', sub {
        my ($row) = @_;
        for my $n (0 .. $#$inputs) {
            my $value = $row->[$position{$inputs->[$n]}];
            $value = $referred->{$value} if $reference && $inputs->[$n] eq $reference;
            $call->bind_param($n + 1, $value);
        }
        $call->execute;
        $created->{$row->[0]} = $new[0] if $created;
    });
}

my (%groups, %group_orders);

call_for_rows(
    'GroupDesc',
    [qw(GroupID GroupCode GroupName disabled Mode DefWeight SplitOrders)],
    'BW_CreateClientGroupEx',
    [qw(GroupCode GroupName disabled Mode DefWeight SplitOrders)],
    1, \%groups
);
call_for_rows(
    'GroupOrders',
    [qw(ID GroupID TradeDate TradeTime Buy ML SecCode ClassCode Price Qty RealQty BalanceQty KilledQty Status Result
            OrdersCount Flags PoolID Value BWUserID BWSessionID BWCounter VisibleQty)],
    'BW_CreateGroupOrder',
    [qw(GroupID TradeDate TradeTime Buy ML SecCode ClassCode Price Qty RealQty BalanceQty KilledQty Status Result
            OrdersCount Flags PoolID Value VisibleQty BWUserID BWSessionID)],
    2, \%group_orders, 'GroupID', \%groups
);
call_for_rows(
    'Orders',
    [qw(OrderID GroupOrderID Buy ML TradeDate TradeTime SecCode ClassCode ClientCode TrdAcc Price Qty BalanceQty
            OrderNum Status Result OrderInPoolID Value VisibleQty BWUserID BWSessionID BWCounter)],
    'BW_CreateOrder',
    [qw(GroupOrderID TradeDate TradeTime Buy ML SecCode ClassCode ClientCode TrdAcc Price Qty BalanceQty OrderNum
            Status Result OrderInPoolID Value VisibleQty BWUserID BWSessionID)],
    2, undef, 'GroupOrderID', \%group_orders
);
insert_rows('LoadedPositions', [qw(PosID PosType FirmID ActiveCode ClientCode LimitKind OpenBalance)], 4, 12);
insert_rows('StopOrders',
    [qw(OrderID GroupOrderID StopStyle Buy ML TradeDate TradeTime SecCode ClassCode ASecCode AClassCode StopCond
            TransFlags ClientCode StopPrice Price LinkedPrice Offset Spread Qty Balance StopOrderNum LinkedOrderNum
            BaseOrderNum CoOrderNum Status Result Expire StopPrice2 ActiveFromTime ActiveToTime TrdAcc)]);
