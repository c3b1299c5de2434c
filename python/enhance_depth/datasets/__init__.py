"""Many recordings: finds them, refines each so that it can be resumed, and shares them among the workers of a cluster."""
