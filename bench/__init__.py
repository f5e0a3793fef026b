"""How fast the service is and how much of a controller it takes, each beside an anchor that shows
what the machine itself needs for such a thing.
"""
