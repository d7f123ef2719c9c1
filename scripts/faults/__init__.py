"""Planting of single faults: scripts/mutate."""
