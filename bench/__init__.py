"""How much slower the service is than `openssl`, plain sd-bus in C and bare system calls, and
what it costs in things that can be counted.
"""
