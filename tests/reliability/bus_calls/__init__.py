"""Calls of every kind to everything that the service has on the bus, made up from its introspection.

    shape       what there is: objects, interfaces, methods, properties
    values      boundary and random values of any type
    calls       one call after the other, well-formed and hopelessly wrong ones
    caller      a process that makes them, as root or as an ordinary user
    properties  what they can write, and how it is put back
    campaign    a controller around it, and what has to hold afterwards
"""
