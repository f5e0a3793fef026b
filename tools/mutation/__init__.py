"""How many small changes of the service go unnoticed by its tests."""
