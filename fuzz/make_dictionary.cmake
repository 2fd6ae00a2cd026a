# Writes the dictionary of the SQL targets: every reserved word and mark, the names of the template
# database, and the commands of scripts. Called with KEYWORDS and DICTIONARY.

file(STRINGS ${KEYWORDS} rows REGEX "^KEYWORD\\(")
set(words)
foreach(row IN LISTS rows)
    string(REGEX REPLACE "^.*, \"(.*)\"\\)$" "\\1" word "${row}")
    list(APPEND words "${word}")
endforeach()
list(APPEND words
    " t" " u" " e" "id" "a" "b" "s" "m" "ok" "x" "y" "z" "t.a" "u.x" "ta" "tdown" "ts" "ux" "uy"
    "recno" "numeric(5,2)" "char(8)" "memo" "'anna'" "'%'" "?" ":1" "''" "(select " " as "
    "upper(" "lower(" "length(" "ifnull(" "substring(" "count(*)" "left outer join " "group by "
    "order by " "union all " "\\x0A.with " "\\x0A.view " "\\x0A.query " "\\x0A.next" "\\x0A.close" "\\x0A.pack" "\\x0A.reopen"
    "\\x0A.fold" "\\x0A.exact" "\\x0A.new" "\\x0A.cache 0" "\\x0A.folder _" "\\x0Aselect " "\\x0Ainsert into "
    "\\x0Aupdate " "\\x0Adelete from " "\\x0Acreate table " "\\x0Acreate index ")
set(text "")
foreach(word IN LISTS words)
    string(APPEND text "\"${word}\"\n")
endforeach()
file(WRITE ${DICTIONARY} "${text}")
