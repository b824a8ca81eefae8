// Its target compiles the headers that the tests share; there is nothing else in it.
