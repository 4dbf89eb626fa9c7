// placeholder until the whole flow is written
