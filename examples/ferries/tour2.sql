.echo on

-- Indexes: each is a B-tree in a file of its own
create index shipday on sailings (ship, sailed_on)
create index bypassen on sailings (passengers desc)
create unique index portcode on ports (code)
.indexes

-- A look-up through an index: the program says which one
.explain select sailed_on, passengers from sailings where ship = 'EID' and sailed_on > '2026-07-20'
select sailed_on, passengers from sailings where ship = 'EID' and sailed_on > '2026-07-20'

-- ORDER BY without a sort: the index runs that way already, so the program has no SQL_Temporary_Sort
.explain select sailing, passengers from sailings where passengers > 340 order by passengers desc
select sailing, passengers from sailings where passengers > 340 order by passengers desc

-- A grouped report: what each ship did in the season
select ship, count(*) as trips, sum(passengers) as people, avg(passengers) as mean, max(cars) as cars from sailings group by ship order by people desc

-- By route, with the names of its ends, and by weather
select r.origin, r.dest, count(*) as trips, sum(s.passengers * r.fare) as income from sailings s, routes r where s.route = r.route group by r.origin, r.dest order by income desc
select weather, count(*) as trips, count(distinct ship) as ships, min(passengers) as fewest, max(passengers) as most from sailings group by weather order by weather

-- The sailings above the mean of all
select count(*) as busy from sailings where passengers > (select avg(passengers) from sailings)

-- A changed mind about the columns of a table
alter table ports add (berths integer)
update ports set berths = 2 where customs = 1
alter table ports drop column island
select * from ports where berths = 2

-- Deleted records stay in the file until the database is packed
delete from sailings where sailed_on < '2026-06-01'
.pack
select count(*) as trips, min(sailed_on) as earliest from sailings
