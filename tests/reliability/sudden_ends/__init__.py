"""Ends of the service in the middle of an update, and what the next start makes of them."""
