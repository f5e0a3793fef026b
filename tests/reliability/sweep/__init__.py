"""The fault sweep: makes the n-th fallible operation fail, for every n, and looks what becomes of it.

An operation is a start of the service with its publication, or an update of one CPLD. Each
injection is followed by the same checks and by an update without a fault. A sweep is over when a
run has got to its end without meeting the fault.
"""
