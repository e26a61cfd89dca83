// The ten scalars of server_bench.
struct Scalars {
    1: string char1
    2: string char2
    3: string num
    4: string date
    5: string time
    6: i32 int4
    7: i16 int2
    8: double float8
    9: binary bcd
    10: binary bytes
}

service ScalarEcho {
    Scalars echo(1: Scalars values)
}
