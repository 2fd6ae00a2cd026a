.echo on

-- What was imported, with the types that were found in the data
.schema

-- Parameters: each ? takes the next value
.parameters gale 100
select sailing, sailed_on, ship from sailings where weather = ? and passengers > ?

-- A join, written as a list of tables with a condition; the first table is the outer loop
select s.sailing, r.origin, r.dest, s.ship, s.passengers from sailings s, routes r where s.route = r.route and s.passengers > 300 order by s.passengers desc

-- Names for both ends of a route: two references to one table
select a.name as fromport, b.name as toport, r.miles from routes r, ports a, ports b where r.origin = a.code and r.dest = b.code order by r.miles

-- LEFT OUTER JOIN keeps the routes that nobody sailed
select r.route, r.origin, r.dest, s.sailing from routes r left outer join sailings s on r.route = s.route where s.sailing is null

-- A sub-query as a value: the ships that are older than the Fulmar
select name, built from ships where built < (select built from ships where name = 'Fulmar') order by built

-- IN with a sub-query
select name, island from ports where code in (select origin from routes where miles > 30)

-- DISTINCT
select distinct weather from sailings order by weather

-- UNION takes duplicates away, UNION ALL keeps them
select origin as port from routes where miles < 8 union select dest from routes where miles < 8 order by port

-- A table made by a SELECT in FROM, with arithmetic: each row's income in it
select x.sailing, x.income from (select s.sailing as sailing, s.passengers * r.fare as income from sailings s, routes r where s.route = r.route) x where x.income > 5000 order by income desc

-- Texts: LIKE, UPPER, SUBSTRING, LENGTH
select upper(name) as called, length(notes) as letters, substring(notes from 1 for 40) as begins from ships where notes like '%comfort%'

-- Long text comes from the memo file
select ship, notes from ships where ship = 'CUR'

-- UPDATE: the fares rise by a tenth on the long routes
select route, fare from routes where miles > 20
update routes set fare = fare * 1.1 where miles > 20
select route, fare from routes where miles > 20

-- DELETE: the sailings that were cancelled
select sailing, ship, weather from sailings where cancelled = 1
delete from sailings where cancelled = 1
select sailing, ship, weather from sailings where cancelled = 1

-- INSERT
insert into ports (code, name, island, depth, customs) values ('LUM', 'Lumsden Pier', 'Mainland', 6.5, 0)
select code, name, depth from ports where island = 'Mainland'
