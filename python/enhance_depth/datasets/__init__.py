"""Many recordings: finds them, refines each resumably, and distributes them among the workers of a cluster."""
