%code requires {
#include <stdint.h>
#include <KXCoreLib/EvalBitMask.h>
}

%define api.pure full
%define api.prefix {peer_yy}
%define api.value.type {uint64_t}
%param { void* scanner }
%parse-param { uint64_t* target }

%token END 0 "end of text"
%token VALUE
%left ','
%left '|'
%left '^'
%left '&'
%precedence PREFIX

%code {
#include <cstdio>
int peer_yylex(uint64_t* value, void* scanner);
static void peer_yyerror(void*, uint64_t*, const char* message) { std::fprintf(stderr, "%s\n", message); }
}

%%

input: expr END { *target = $1; }
expr: VALUE { $$ = $1; }
    | '(' expr ')' { $$ = $2; }
    | '-' expr %prec PREFIX { $$ = 0 - $2; }
    | '~' expr %prec PREFIX { $$ = ~$2; }
    | expr ',' expr { $$ = $1 | $3; }
    | expr '|' expr { $$ = $1 | $3; }
    | expr '^' expr { $$ = $1 ^ $3; }
    | expr '&' expr { $$ = $1 & $3; }
    ;
